// The Windows backend of the platform contract.
#pragma once

#include "platform/platform.h"

// The process's one Windows backend (created on first use, never freed: hook procedures refer
// to it until the process ends). Install it with plat_set().
platform* w32_platform();
