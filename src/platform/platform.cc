#include "platform/platform.h"

#include <atomic>

namespace {
std::atomic<platform*> g_platform{nullptr};
}

platform* plat() { return g_platform.load(std::memory_order_acquire); }

void plat_set(platform* p) { g_platform.store(p, std::memory_order_release); }
