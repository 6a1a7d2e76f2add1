// quiverex on Windows: the entry point and the steps of start-up that are this system's own
// (elevation, the hidden instance window and the hand-over to a running instance, the main loop
// the program drives itself). The order of start-up is in startup.cc.
//
// Only the Windows backend and the engine's plain headers are used here, no toolkit: the
// toolkit's loop is reached through app_main_iteration.
#include <cstdlib>

#include "app/engine.h"
#include "app/startup.h"
#include "core/app.h"
#include "core/gvar.h"
#include "platform/win32/instance_window.h"
#include "platform/win32/startup.h"
#include "settings/prefs.h"
#include "ui/ui.h"

namespace {

HINSTANCE g_hInstance = nullptr;  // this program's module, kept from WinMain

// While the main window is up the loop turns faster, so that typing in it stays smooth; hidden,
// the program mostly waits.
constexpr int VISIBLE_EXTRA_ITERATIONS = 50;
constexpr DWORD VISIBLE_SLEEP_MS = 5;
constexpr DWORD HIDDEN_SLEEP_MS = 10;

void on_show_request(void*) { main_window_show(); }

// A file handed over by a second start; ".textexpander" files go to the TextExpander import.
void on_import_request(const std::string& path, void*) { core_import_file(path, false); }

// Log-off or shutdown ends the program as the Exit menu does.
void on_end_session(void*) { _quit_(0); }

// After sleep the system may have dropped the hooks: put them back, but only while enabled.
void on_resumed(void*) {
  if (tolmek_get_state() != 0) return;
  tolmek_set_state(1);
  tolmek_set_state(0);
}

}  // namespace

bool app_sys_elevate(const std::vector<std::string>& args) {
  return w32_elevate_if_wanted(setting_get_int("ucm"), args, gvar_get("our_exe_path"), portable_mode() != 0);
}

// Only the show request: a start without elevation may raise an elevated instance, but not
// hand it files to import.
void app_sys_admit_show_request() { w32_invisiwin_admit_show_message(); }

bool app_sys_hand_over_if_running(const core_cmdline& cmd) {
  return w32_single_instance_step(cmd.restarting, cmd.import_path);
}

bool app_sys_open_windowing() {
  app_engine_open_platform();
  w32_invisiwin_handlers h;
  h.show_main_window = on_show_request;
  h.import_file = on_import_request;
  h.end_session = on_end_session;
  h.resumed = on_resumed;
  // Without the window a second start cannot find this one, but the program still works.
  w32_invisiwin_create(g_hInstance, h);
  return true;
}

// Log-off and shutdown arrive at the hidden window.
void app_sys_before_main_loop() {}

void app_sys_main_loop() {
  const core_app_ops& ops = core_get_app_ops();
  for (;;) {
    app_main_iteration(true);
    if (ops.main_window_visible && ops.main_window_visible()) {
      for (int i = 0; i < VISIBLE_EXTRA_ITERATIONS; i++) app_main_iteration(false);
      Sleep(VISIBLE_SLEEP_MS);
    } else {
      Sleep(HIDDEN_SLEEP_MS);
    }
  }
}

int WINAPI WinMain(HINSTANCE instance, HINSTANCE, LPSTR, int) {
  g_hInstance = instance;
  // The C runtime's narrow arguments; the UTF-16 command line is read where it matters.
  return app_start(__argc, __argv);
}
