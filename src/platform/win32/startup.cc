#include "platform/win32/startup.h"

#include "platform/win32/instance_window.h"
#include "platform/win32/text.h"

// After the backend's headers, which must declare the key vocabulary before <windows.h>.
#include <shellapi.h>

namespace {

// CommandLineToArgvW's quoting: backslashes are literal except in front of a quote, where each
// pair stands for one backslash and an odd one escapes the quote.
void append_quoted(std::string& out, const std::string& arg) {
  if (!arg.empty() && arg.find_first_of(" \t\n\v\"") == std::string::npos) {
    out += arg;
    return;
  }
  out += '"';
  size_t backslashes = 0;
  for (char c : arg) {
    if (c == '\\') {
      backslashes++;
      continue;
    }
    if (c == '"') backslashes = backslashes * 2 + 1;
    out.append(backslashes, '\\');
    backslashes = 0;
    out += c;
  }
  // The closing quote must not be escaped by the argument's own trailing backslashes.
  out.append(backslashes * 2, '\\');
  out += '"';
}

}  // namespace

std::optional<std::vector<std::string>> w32_command_line_arguments() {
  int n = 0;
  wchar_t** args = CommandLineToArgvW(GetCommandLineW(), &n);
  if (!args) return std::nullopt;
  std::vector<std::string> out;
  out.reserve(static_cast<size_t>(n > 0 ? n : 0));
  for (int i = 0; i < n; i++) out.push_back(w32_to_utf8(args[i]));
  LocalFree(args);
  return out;
}

std::vector<std::string> w32_program_arguments(const std::optional<std::vector<std::string>>& wide, int argc,
                                               const char* const* argv) {
  std::vector<std::string> out = wide.value_or(std::vector<std::string>());
  for (int i = static_cast<int>(out.size()); i < argc; i++)
    out.push_back(argv && argv[i] ? w32_acp_to_utf8(argv[i]) : std::string());
  return out;
}

std::string w32_join_parameters(const std::vector<std::string>& args) {
  std::string out;
  for (const std::string& a : args) {
    if (!out.empty()) out += ' ';
    append_quoted(out, a);
  }
  return out;
}

bool w32_shell_start(const std::string& exe, const wchar_t* verb, const std::vector<std::string>& args) {
  std::wstring file = w32_to_utf16(exe);
  std::wstring params = w32_to_utf16(w32_join_parameters(args));
  HINSTANCE r = ShellExecuteW(nullptr, verb, file.c_str(), params.empty() ? nullptr : params.c_str(), nullptr,
                              SW_SHOWNORMAL);
  // Values up to 32 are error codes.
  return reinterpret_cast<INT_PTR>(r) > 32;
}

bool w32_should_elevate(int ucm, const std::vector<std::string>& args) {
  if (ucm != 1) return false;
  return args.size() < 2 || _stricmp(args[1].c_str(), "--admin") != 0;
}

std::vector<std::string> w32_elevation_arguments(bool portable) {
  if (portable) return {"--admin", "--portable"};
  return {"--admin"};
}

bool w32_elevate_if_wanted(int ucm, const std::vector<std::string>& args, const std::string& exe,
                           bool portable) {
  if (!w32_should_elevate(ucm, args)) return false;
  w32_shell_start(exe, L"runas", w32_elevation_arguments(portable));
  return true;
}

bool w32_single_instance_step(bool restarting, const std::optional<std::string>& import_path,
                              unsigned restart_wait_ms) {
  if (restarting) {
    // The old process is still closing and its window may linger: it must not get our requests.
    // The second lookup is kept from the program's earlier versions; what it finds is ignored.
    Sleep(restart_wait_ms);
    (void)w32_check_if_quiverex_already_running();
    return false;
  }
  HWND running = w32_check_if_quiverex_already_running();
  if (!running) return false;
  w32_hand_over_to_running_instance(running, import_path);
  return true;
}
