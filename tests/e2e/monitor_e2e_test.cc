// The keyboard monitor on the X11 backend: xdotool types into xterm on a private X server, the
// monitor recognises the abbreviations and hands each record to a stand-in replacement thread,
// which answers with the usual clean-up messages.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "library/abbr.h"
#include "monitor/mon.h"
#include "platform/x11/x11_platform.h"
#include "settings/settings.h"
#include "x_session.h"

namespace {

struct request {
  std::string typed;
  uint32_t trigger_vk, trigger_char, extra_erase;
  uintptr_t target_window;
};

// The stand-in replacement thread.
std::thread g_thread;
std::atomic<plat_thread_id> g_tid{0};
std::mutex g_lock;
std::condition_variable g_cv;
std::vector<request> g_requests;

plat_thread_id stub_create() {
  g_thread = std::thread([] {
    g_tid = plat()->current_thread_id();
    plat_msg m{};
    while (plat()->get_message(&m, 0, 0) == 1 && m.message != WM_KEYSIM_QUIT) {
      if (m.message != WM_KEYSIM_REPLACE) continue;
      auto** slot = reinterpret_cast<typed_abbrev_info**>(m.wparam);
      typed_abbrev_info* r = *slot;
      {
        std::lock_guard<std::mutex> g(g_lock);
        g_requests.push_back({r->typed, r->trigger_vk, r->trigger_char, r->extra_erase, r->target_window});
      }
      typed_abbrev_info_free(slot);
      for (uint32_t msg : {WM_MON_CLEAR_KEY_BUFFER, WM_MON_RESTORE_MODIFIERS, WM_MON_RESTORE_CAPS_LOCK,
                           WM_MON_END_TEMP_DISABLE})
        plat()->post_thread_message(mon_hook_thread_id(), msg, 0, 0);
      g_cv.notify_all();
    }
  });
  while (!g_tid) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return g_tid;
}

void stub_destroy() {
  plat()->post_thread_message(g_tid, WM_KEYSIM_QUIT, 0, 0);
  g_thread.join();
  g_tid = 0;
}

std::vector<request> wait_for_requests(size_t n) {
  std::unique_lock<std::mutex> g(g_lock);
  g_cv.wait_for(g, std::chrono::seconds(10), [&] { return g_requests.size() >= n; });
  return g_requests;
}

void add(abbr_folder* f, const char* text, uint32_t trigger) {
  abbr_abbrev* a = abbr_create_new_abbrev(ABBR_TYPE_TEXT, f);
  a->abbrevs = abbr_get_lst_of_abbrevs_from_string(text);
  a->replacement = "expanded";
  a->trigger_mode = trigger;
  a->case_mode = ABBR_CASE_INSENSITIVE;
  abbr_add_abbrev_to_folder(f, a, -1);
}

}  // namespace

TEST(MonitorOnX11, AbbreviationsTypedIntoXtermReachTheReplacementThread) {
  x_session s;
  ASSERT_TRUE(s.ok()) << s.why();
  std::unique_ptr<x11_platform> x = x11_platform::open(s.display().c_str());
  ASSERT_NE(nullptr, x);
  plat_set(x.get());

  setting_set("trigger_hotkey", "17");
  setting_set("delim_chars", ",.?!()<>[]{}:;\"/\\-' \n\t");
  setting_set_int("textexpander_mode", 0);
  setting_set_int("cont_window_changed", 1);
  abbr_folder* top = abbr_create_absolute_parent_folder();
  abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, top);
  add(top, "qxe", ABBR_TRIGGER_IMMEDIATELY);
  add(top, "btw", ABBR_TRIGGER_WORD_END);

  mon_callbacks cb;
  cb.keysim_create_thread = stub_create;
  cb.keysim_destroy_thread = stub_destroy;
  mon_set_callbacks(cb);
  ASSERT_EQ(1, mon_start());
  EXPECT_EQ(3u, mon_installed_hooks());

  ASSERT_TRUE(s.activate(s.xterm_window()));
  plat_window xterm = x->foreground_window();
  s.run({"xdotool", "type", "--delay", "30", "say qxe"});
  std::vector<request> r = wait_for_requests(1);
  ASSERT_EQ(1u, r.size());
  EXPECT_EQ("qxe", r[0].typed);
  EXPECT_EQ(0u, r[0].trigger_vk);
  EXPECT_EQ(xterm, r[0].target_window);

  // Word-end: the space reached the terminal (keys cannot be swallowed here), so the record
  // asks for one more Backspace.
  s.run({"xdotool", "type", "--delay", "30", " btw "});
  r = wait_for_requests(2);
  ASSERT_EQ(2u, r.size());
  EXPECT_EQ("btw", r[1].typed);
  EXPECT_EQ(static_cast<uint32_t>(' '), r[1].trigger_char);
  EXPECT_EQ(static_cast<uint32_t>(VK_SPACE), r[1].trigger_vk);
  EXPECT_EQ(1u, r[1].extra_erase);

  // Typing inside a word does not expand.
  s.run({"xdotool", "type", "--delay", "30", " abtw "});
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(2u, wait_for_requests(2).size());

  EXPECT_EQ(1, mon_stop(0));
  EXPECT_EQ(0u, mon_installed_hooks());
  mon_set_callbacks(mon_callbacks{});
  s.run({"xdotool", "key", "Return"});
  plat_set(nullptr);
  abbr_free_all_folder_lists();
  __setting_list_free(prefs_lst);
  prefs_lst = nullptr;
}
