// Fatal allocation failure: the one way the program reacts to running out of memory.
#pragma once

#include <cstddef>

// Prints "Could not allocate memory. Dying." to standard error and ends the process.
[[noreturn]] void die();

// malloc/realloc that never return null: they call die() instead.
void* xmalloc(size_t size);
void* xrealloc(void* ptr, size_t size);

// Makes `operator new` call die() instead of throwing std::bad_alloc. Called once at start-up
// by every program (the CLI, the app, the test mains) before anything allocates in earnest.
void util_install_oom_handler();
