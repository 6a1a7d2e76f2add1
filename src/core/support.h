// How users reach the people who make the program; the messages that ask users to get in
// touch all take the address from here.
#pragma once

#define QX_SUPPORT_EMAIL "support@quiverex.app"
