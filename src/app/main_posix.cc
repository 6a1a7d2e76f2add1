// quiverex on Linux: the entry point and the steps of start-up that are this system's own (the
// single instance over a socket, the X11 backend, signals, GTK's own main loop). The order of
// start-up is in startup.cc.
#include <glib-unix.h>
#include <gtk/gtk.h>

#include <cstdio>
#include <cstdlib>

#include "app/engine.h"
#include "app/startup.h"
#include "core/app.h"
#include "core/instance.h"
#include "ui/ui.h"

namespace {

// A second start waits this long for the running instance to act on its request.
constexpr int HANDOVER_TIMEOUT_MS = 15000;
// A restarted process gives the old one this long to close.
constexpr unsigned RESTART_WAIT_MS = 2345;

void on_instance_request(core_instance_request req, const std::string& path, void*) {
  if (req == CORE_INSTANCE_SHOW)
    main_window_show();
  else
    core_import_file(path, false);
}

// Log-off and `kill` end the program as the Exit menu does, saving the preferences.
gboolean on_terminate(gpointer) {
  _quit_(0);
  return G_SOURCE_CONTINUE;
}

}  // namespace

// Elevation is a Windows matter.
bool app_sys_elevate(const std::vector<std::string>&) { return false; }

// Only processes of the same user can reach the instance socket; there is nothing to admit.
void app_sys_admit_show_request() {}

bool app_sys_hand_over_if_running(const core_cmdline& cmd) {
  std::string address = core_instance_default_address();
  if (cmd.restarting) {
    g_usleep(RESTART_WAIT_MS * 1000);
    core_instance_claim_address(address, on_instance_request, nullptr);
    return false;
  }
  if (core_instance_claim_address(address, on_instance_request, nullptr) != CORE_INSTANCE_OTHER_RUNNING)
    return false;
  // The start ends whether or not the running instance answered.
  core_instance_send(address, CORE_INSTANCE_SHOW, std::string(), HANDOVER_TIMEOUT_MS);
  if (cmd.import_path)
    core_instance_send(address, CORE_INSTANCE_IMPORT, *cmd.import_path, HANDOVER_TIMEOUT_MS);
  return true;
}

bool app_sys_open_windowing() {
  // The backend must be connected before GTK opens the display (it enables Xlib threads).
  if (app_engine_open_platform()) return true;
  fprintf(stderr, "quiverex: cannot use the display '%s' (X11 with XInput2, XTEST and XKEYBOARD is needed)\n",
          getenv("DISPLAY") ? getenv("DISPLAY") : "");
  core_instance_release();
  return false;
}

void app_sys_before_main_loop() {
  g_unix_signal_add(SIGTERM, on_terminate, nullptr);
  g_unix_signal_add(SIGINT, on_terminate, nullptr);
  g_unix_signal_add(SIGHUP, on_terminate, nullptr);
}

void app_sys_main_loop() {
  // GTK's loop waits on its sources (X connection, instance socket, timers) without polling.
  for (;;) gtk_main();
}

int main(int argc, char** argv) { return app_start(argc, argv); }
