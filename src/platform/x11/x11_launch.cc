#include "platform/x11/x11_launch.h"

#include <canberra.h>
#include <gio/gio.h>

#include <mutex>

namespace {

bool is_uri(const std::string& s) {
  char* scheme = g_uri_parse_scheme(s.c_str());
  bool yes = scheme && strlen(scheme) > 1;  // "C:" style paths are not addresses
  g_free(scheme);
  return yes;
}

bool open_uri(const std::string& uri) {
  GError* err = nullptr;
  gboolean ok = g_app_info_launch_default_for_uri(uri.c_str(), nullptr, &err);
  if (err) g_error_free(err);
  return ok;
}

}  // namespace

bool x11_launch(const plat_launch& what) {
  if (what.file.empty()) return false;
  if (is_uri(what.file)) return open_uri(what.file);
  char* program = nullptr;
  if (g_file_test(what.file.c_str(), G_FILE_TEST_IS_DIR)) {
    program = nullptr;
  } else if (g_file_test(what.file.c_str(), G_FILE_TEST_IS_EXECUTABLE)) {
    program = g_strdup(what.file.c_str());
  } else if (!g_file_test(what.file.c_str(), G_FILE_TEST_EXISTS)) {
    program = g_find_program_in_path(what.file.c_str());
  }
  if (!program) {
    // A document or folder: its default application.
    char* uri = g_filename_to_uri(what.file.c_str(), nullptr, nullptr);
    bool ok = uri && open_uri(uri);
    g_free(uri);
    return ok;
  }
  int argc = 0;
  char** params = nullptr;
  if (!what.parameters.empty() && !g_shell_parse_argv(what.parameters.c_str(), &argc, &params, nullptr))
    params = nullptr;
  std::vector<char*> argv{program};
  for (int i = 0; params && params[i]; ++i) argv.push_back(params[i]);
  argv.push_back(nullptr);
  const char* dir = what.directory.empty() ? nullptr : what.directory.c_str();
  GError* err = nullptr;
  gboolean ok = g_spawn_async(dir, argv.data(), nullptr, G_SPAWN_SEARCH_PATH, nullptr, nullptr,
                              nullptr, &err);
  if (err) g_error_free(err);
  g_strfreev(params);
  g_free(program);
  return ok;
}

std::vector<plat_browser> x11_list_browsers() {
  std::vector<plat_browser> out;
  GList* apps = g_app_info_get_all_for_type("x-scheme-handler/http");
  for (GList* l = apps; l; l = l->next) {
    GAppInfo* a = G_APP_INFO(l->data);
    const char* id = g_app_info_get_id(a);
    const char* exe = g_app_info_get_executable(a);
    out.push_back(plat_browser{id ? id : "", g_app_info_get_display_name(a), exe ? exe : ""});
  }
  g_list_free_full(apps, g_object_unref);
  return out;
}

void x11_play_sound() {
  // One context for the life of the program; creating it costs more than the sound.
  static ca_context* ctx = nullptr;
  static std::once_flag once;
  std::call_once(once, [] {
    if (ca_context_create(&ctx) != CA_SUCCESS) ctx = nullptr;
  });
  if (!ctx) return;
  ca_context_play(ctx, 0, CA_PROP_EVENT_ID, "message", CA_PROP_EVENT_DESCRIPTION,
                  "Abbreviation expanded", nullptr);
}
