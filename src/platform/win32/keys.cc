#include "platform/win32/keys.h"

#include <cstring>

plat_key_event w32_decode_key_event(WPARAM msg, const KBDLLHOOKSTRUCT& k) {
  plat_key_event ev{};
  ev.msg = static_cast<uint32_t>(msg);
  ev.vk = k.vkCode;
  // An injected Unicode character travels in the scan code as one UTF-16 unit.
  ev.scan = k.vkCode == VK_PACKET ? (k.scanCode & 0xFFFF) : (k.scanCode & 0xFF);
  ev.flags = k.flags & (LLKHF_EXTENDED | LLKHF_INJECTED);
  if (!ev.down()) ev.flags |= LLKHF_UP;
  ev.time = k.time;
  return ev;
}

bool w32_decode_mouse_event(WPARAM msg, const MSLLHOOKSTRUCT& m, plat_mouse_event* out) {
  switch (msg) {
    case WM_LBUTTONDOWN:
    case WM_LBUTTONUP:
    case WM_RBUTTONDOWN:
    case WM_RBUTTONUP:
    case WM_MBUTTONDOWN:
    case WM_MBUTTONUP:
      out->msg = static_cast<uint32_t>(msg);
      out->x = m.pt.x;
      out->y = m.pt.y;
      return true;
    default:
      return false;
  }
}

namespace {

struct vk_sc {
  uint32_t vk, sc;
};

// Keys whose scan code the layouts report wrongly or without the extended prefix that
// injected events need (right-hand modifiers, the Windows keys, the numeric pad).
constexpr vk_sc k_vk_to_sc[] = {
    {162, 29},  {163, 285}, {164, 56},  {165, 312}, {160, 42},  {161, 310}, {91, 347},
    {92, 348},  {110, 83},  {144, 325}, {111, 309}, {106, 55},  {109, 74},  {107, 78},
    {96, 82},   {97, 79},   {98, 80},   {99, 81},   {100, 75},  {101, 76},  {102, 77},
    {103, 71},  {104, 72},  {105, 73},
};

}  // namespace

uint32_t w32_vk_to_sc_fixed(uint32_t vk) {
  for (const vk_sc& row : k_vk_to_sc)
    if (row.vk == vk) return row.sc;
  return 0;
}

INPUT w32_make_input(const plat_input& in) {
  INPUT out;
  memset(&out, 0, sizeof out);
  out.type = INPUT_KEYBOARD;
  out.ki.wVk = static_cast<WORD>(in.vk);
  out.ki.wScan = static_cast<WORD>(in.scan);
  out.ki.dwFlags = in.flags;
  return out;
}

std::string w32_layout_short_name(uint16_t lang, const std::string& klid) {
  // Layout identifiers of the variants the preferences offer by name.
  static const struct {
    const char* klid;
    const char* name;
  } variants[] = {
      {"00020409", "us(intl)"}, {"00010409", "us(dvorak)"}, {"00010407", "de(ibm)"},
      {"0001040C", "be"},       {"0000100C", "ch(fr)"},     {"00000807", "ch"},
  };
  for (const auto& v : variants)
    if (klid == v.klid) return v.name;
  static const struct {
    uint16_t lang;
    const char* name;
  } langs[] = {
      {0x0409, "us"}, {0x0809, "gb"}, {0x0407, "de"}, {0x040C, "fr"}, {0x0410, "it"},
      {0x040A, "es"}, {0x0C0A, "es"}, {0x0413, "nl"}, {0x0416, "br"}, {0x0816, "pt"},
      {0x041D, "se"}, {0x0414, "no"}, {0x0406, "dk"}, {0x040B, "fi"}, {0x0415, "pl"},
      {0x0405, "cz"}, {0x040E, "hu"}, {0x0419, "ru"}, {0x0422, "ua"}, {0x0408, "gr"},
      {0x041F, "tr"}, {0x040D, "il"}, {0x0401, "ara"}, {0x0411, "jp"}, {0x0412, "kr"},
      {0x0C07, "at"}, {0x1009, "ca"}, {0x0C0C, "ca(fr)"},
  };
  for (const auto& l : langs)
    if (l.lang == lang) return l.name;
  return "";
}

std::string w32_extract_browser_exe_from_open_command(const std::string& command) {
  size_t start = command.find_first_not_of(" \t");
  if (start == std::string::npos) return "";
  if (command[start] == '"') {
    size_t end = command.find('"', start + 1);
    if (end == std::string::npos) return command.substr(start + 1);
    return command.substr(start + 1, end - start - 1);
  }
  size_t end = command.find_first_of(" \t", start);
  return command.substr(start, end == std::string::npos ? std::string::npos : end - start);
}
