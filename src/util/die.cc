#include "util/die.h"

#include <cstdio>
#include <cstdlib>
#include <new>

void die() {
  fputs("Could not allocate memory. Dying.\n", stderr);
  fflush(stderr);
  _Exit(1);
}

void* xmalloc(size_t size) {
  void* p = malloc(size ? size : 1);
  if (!p) die();
  return p;
}

void* xrealloc(void* ptr, size_t size) {
  void* p = realloc(ptr, size ? size : 1);
  if (!p) die();
  return p;
}

void util_install_oom_handler() { std::set_new_handler([] { die(); }); }
