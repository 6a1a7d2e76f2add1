// quiverex-cli prefs: the effective preferences, exactly as the program would see them after
// loading (defaults and migrations applied), printed in file format. Nothing is written.
#include <cstdio>

#include "app/cli.h"
#include "core/gvar.h"
#include "settings/prefs.h"
#include "settings/settings.h"
#include "util/strutil.h"

static int cli_prefs(const std::vector<std::string>& args) {
  std::optional<std::string> config_dir;
  for (size_t i = 0; i < args.size(); i++) {
    if (args[i] != "--config-dir") return cli_usage_error("prefs: unexpected argument '" + args[i] + "'");
    if (i + 1 == args.size()) return cli_usage_error("prefs: --config-dir needs a folder");
    config_dir = args[++i];
  }
  const char* argv[] = {"quiverex-cli"};
  gvar_set_all(1, argv);
  if (config_dir) {
    gvar_set("current_appdata_dir", config_dir->c_str());
    gvar_set("data_dir", config_dir->c_str());
    gvar_set("prefs_file", path_join(*config_dir, "preferences.lt").c_str());
  }
  std::optional<std::string> error = prefs_load();
  std::string text = settings_format(prefs_lst);
  fwrite(text.data(), 1, text.size(), stdout);
  int rc = CLI_OK;
  if (__setting_get_file_existed_from_err_msg(error)) {
    fprintf(stderr, "quiverex-cli: %s: %s The defaults are shown.\n", gvar_get("prefs_file"), error->c_str());
    rc = CLI_PROBLEM;
  }
  prefs_free();
  gvar_free_all();
  return rc;
}

static cli_command reg("prefs", "[--config-dir DIR]",
                       "print the effective preferences (defaults applied) without saving", cli_prefs);
