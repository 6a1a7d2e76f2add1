// Single instance through the hidden top-level window of the running program: a second start
// finds it by its class and sends it window messages. There is one such channel per desktop
// session, so the address is only a name for messages.
//
// The program's Windows start-up creates the window itself (with its session and power
// handlers) and reaches this file only through core_instance_release at quit.
#include "core/instance.h"
#include "platform/win32/instance_window.h"
#include "platform/win32/text.h"

namespace {

struct claim_target {
  core_instance_handler handler = nullptr;
  void* user = nullptr;
};
claim_target g_claim;  // UI thread

}  // namespace

std::string core_instance_default_address() { return w32_to_utf8(W32_INVISIWIN_CLASS); }

core_instance_claim core_instance_claim_address(const std::string&, core_instance_handler handler,
                                                void* user) {
  if (w32_check_if_quiverex_already_running()) return CORE_INSTANCE_OTHER_RUNNING;
  g_claim.handler = handler;
  g_claim.user = user;
  w32_invisiwin_handlers h;
  h.show_main_window = [](void*) {
    if (g_claim.handler) g_claim.handler(CORE_INSTANCE_SHOW, std::string(), g_claim.user);
  };
  h.import_file = [](const std::string& path, void*) {
    if (g_claim.handler) g_claim.handler(CORE_INSTANCE_IMPORT, path, g_claim.user);
  };
  return w32_invisiwin_create(GetModuleHandleW(nullptr), h) ? CORE_INSTANCE_CLAIMED : CORE_INSTANCE_FAILED;
}

void core_instance_release() { w32_invisiwin_destroy(); }

// The hand-over always raises the running program first, so an import request shows its
// window too. SendMessage waits for the receiver without a time limit, as the program always has.
bool core_instance_send(const std::string&, core_instance_request req, const std::string& path, int) {
  HWND running = w32_check_if_quiverex_already_running();
  if (!running) return false;
  if (req == CORE_INSTANCE_SHOW) return w32_hand_over_to_running_instance(running, std::nullopt);
  return w32_hand_over_to_running_instance(running, path);
}
