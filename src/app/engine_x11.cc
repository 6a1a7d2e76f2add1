// The desktop program's backend on Linux: X11.
#include <glib.h>

#include <memory>

#include "app/engine.h"
#include "platform/x11/x11_platform.h"

namespace {
std::unique_ptr<x11_platform> g_backend;  // lives from start-up to exit
}  // namespace

bool app_engine_open_platform() {
  g_backend = x11_platform::open(nullptr);
  if (!g_backend) return false;
  plat_set(g_backend.get());
  return true;
}

void app_engine_close_platform() {
  if (!g_backend) return;
  plat_set(nullptr);
  g_backend.reset();
}

bool app_engine_spawn_program(const std::string& exe, const std::vector<std::string>& args) {
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(exe.c_str()));
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  return g_spawn_async(nullptr, argv.data(), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, nullptr, nullptr);
}
