// One running program per user, and the hand-over from a second start to the first.
//
// The running instance listens on a channel only its own user can reach; a second start
// connects, sends one request and ends. Requests: "show" (bring up the main window) and
// "import <path>" (import that file). The receiver runs them on the UI thread from its main
// loop, between other events, and answers "ok" once done, so the sender knows it arrived.
//
// Threads: UI thread only, except core_instance_send, which may run anywhere.
#pragma once

#include <string>

enum core_instance_request { CORE_INSTANCE_SHOW, CORE_INSTANCE_IMPORT };

// Called on the UI thread for each accepted request; `path` is empty for a show request.
typedef void (*core_instance_handler)(core_instance_request req, const std::string& path, void* user);

enum core_instance_claim {
  CORE_INSTANCE_CLAIMED,        // this process is now the running instance
  CORE_INSTANCE_OTHER_RUNNING,  // another instance answers on the channel
  CORE_INSTANCE_FAILED,         // neither: the channel could not be made (we run anyway)
};

// The default channel of this user (on Linux a socket in $XDG_RUNTIME_DIR/quiverex, or in a
// private folder under /tmp named after the user id when that variable is unset).
std::string core_instance_default_address();

// Tries to become the running instance on `address`. A channel left behind by a process that
// ended is taken over. On CORE_INSTANCE_CLAIMED the requests go to `handler` from the default
// main context until core_instance_release.
core_instance_claim core_instance_claim_address(const std::string& address, core_instance_handler handler,
                                                void* user);
// Stops listening and removes the channel (only when this process made it).
void core_instance_release();

// Sends one request to the instance on `address` and waits (at most `timeout_ms`) until it has
// been carried out. False when nobody listens, the peer is not our user, or no answer came.
bool core_instance_send(const std::string& address, core_instance_request req, const std::string& path,
                        int timeout_ms);
