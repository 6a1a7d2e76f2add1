// The Windows clipboard: text in and out, and a copy of every format it holds so that an
// expansion that pastes can put the user's clipboard back afterwards.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/win32/w32.h"

// Opens the clipboard for `owner` (may be null for reading), up to `attempts` tries
// `interval_ms` apart: another application may hold it for a moment.
bool w32_clipboard_open(HWND owner, int attempts, int interval_ms);

// GetClipboardData, retried every 10 ms while it fails with an error, 52 tries in all, except
// for formats whose owner would never answer (the file list, "OwnerLink"). The clipboard must
// be open. The handle still belongs to the clipboard.
HANDLE w32_clipboard_get_data(UINT format);

// Unicode text of the open clipboard, none when there is none.
std::optional<std::string> w32_clipboard_read_text();
// Empties the open clipboard and puts the text on it as CF_UNICODETEXT; the owner given to
// w32_clipboard_open must not be null.
bool w32_clipboard_write_text(const std::string& utf8);

// A device-independent copy of a bitmap: a 40-byte header, the colour table its depth needs
// and the rows padded to 4 bytes, in movable global memory. Null on failure; the caller
// frees it with GlobalFree.
HGLOBAL w32_bitmap_to_dib(HBITMAP bmp);
// A device-dependent bitmap from such a block; null on failure. The caller owns it.
HBITMAP w32_dib_to_bitmap(HGLOBAL dib);

// Human-readable name of a clipboard format ("CF_UNICODETEXT", or the registered name).
std::string w32_clipboard_format_name(UINT format);

// One saved clipboard format. Owns `handle` and frees it with the function its kind needs.
struct w32_clip_item {
  UINT format = 0;
  HANDLE handle = nullptr;
};

class w32_clipboard_backup : public plat_clipboard_backup {
 public:
  ~w32_clipboard_backup() override;
  std::vector<std::string> formats() const override;

  std::vector<w32_clip_item> items;  // in the order the clipboard offered them
};

// Copies every format of the clipboard (opened here with `owner`); null when it could not be
// opened. Formats that cannot be read or copied are left out.
std::unique_ptr<w32_clipboard_backup> w32_clipboard_backup_take(HWND owner, int attempts,
                                                                 int interval_ms);
// Empties the clipboard and puts fresh copies of every saved format on it, in the saved
// order; the backup stays intact and can be restored again. `owner` must not be null.
bool w32_clipboard_backup_restore(const w32_clipboard_backup& b, HWND owner, int attempts,
                                  int interval_ms);
