#include "platform/win32/clipboard.h"

#include <cstring>

#include "platform/win32/text.h"

namespace {

// How a saved format's handle is copied and freed. The private-display bit (0x80) does not
// change the kind of data: CF_DSPBITMAP holds a bitmap like CF_BITMAP.
enum clip_kind { CK_GLOBAL, CK_BITMAP, CK_METAFILEPICT, CK_ENHMETAFILE, CK_PALETTE, CK_EMPTY };

clip_kind kind_of(UINT format) {
  if (format == CF_OWNERDISPLAY) return CK_EMPTY;
  switch (format & ~0x80u) {
    case CF_BITMAP:
      return CK_BITMAP;
    case CF_METAFILEPICT:
      return CK_METAFILEPICT;
    case CF_ENHMETAFILE:
      return CK_ENHMETAFILE;
    case CF_PALETTE:
      return CK_PALETTE;
    default:
      return CK_GLOBAL;
  }
}

HGLOBAL copy_global(HGLOBAL src) {
  SIZE_T n = GlobalSize(src);
  if (n == 0) return nullptr;
  const void* from = GlobalLock(src);
  if (!from) return nullptr;
  HGLOBAL dst = GlobalAlloc(GMEM_MOVEABLE, n);
  if (dst) {
    void* to = GlobalLock(dst);
    memcpy(to, from, n);
    GlobalUnlock(dst);
  }
  GlobalUnlock(src);
  return dst;
}

HGLOBAL copy_metafilepict(HGLOBAL src) {
  if (GlobalSize(src) < sizeof(METAFILEPICT)) return nullptr;
  auto* from = static_cast<METAFILEPICT*>(GlobalLock(src));
  if (!from) return nullptr;
  METAFILEPICT pict = *from;
  GlobalUnlock(src);
  pict.hMF = CopyMetaFileA(pict.hMF, nullptr);
  if (!pict.hMF) return nullptr;
  HGLOBAL dst = GlobalAlloc(GMEM_MOVEABLE, sizeof pict);
  if (!dst) {
    DeleteMetaFile(pict.hMF);
    return nullptr;
  }
  memcpy(GlobalLock(dst), &pict, sizeof pict);
  GlobalUnlock(dst);
  return dst;
}

HPALETTE copy_palette(HPALETTE src) {
  WORD n = 0;
  if (!GetObjectW(src, sizeof n, &n) || n == 0) return nullptr;
  size_t size = sizeof(LOGPALETTE) + (n - 1) * sizeof(PALETTEENTRY);
  auto* lp = static_cast<LOGPALETTE*>(calloc(1, size));
  if (!lp) return nullptr;
  lp->palVersion = 0x300;
  lp->palNumEntries = n;
  GetPaletteEntries(src, 0, n, lp->palPalEntry);
  HPALETTE dst = CreatePalette(lp);
  free(lp);
  return dst;
}

HANDLE duplicate(UINT format, HANDLE h) {
  switch (kind_of(format)) {
    case CK_EMPTY:
      return nullptr;
    case CK_BITMAP: {
      HGLOBAL dib = w32_bitmap_to_dib(static_cast<HBITMAP>(h));
      if (!dib) return nullptr;
      HBITMAP copy = w32_dib_to_bitmap(dib);
      GlobalFree(dib);
      return copy;
    }
    case CK_METAFILEPICT:
      return copy_metafilepict(h);
    case CK_ENHMETAFILE:
      return CopyEnhMetaFileA(static_cast<HENHMETAFILE>(h), nullptr);
    case CK_PALETTE:
      return copy_palette(static_cast<HPALETTE>(h));
    case CK_GLOBAL:
      return copy_global(h);
  }
  return nullptr;
}

void free_handle(UINT format, HANDLE h) {
  if (!h) return;
  switch (kind_of(format)) {
    case CK_EMPTY:
      break;
    case CK_BITMAP:
    case CK_PALETTE:
      DeleteObject(h);
      break;
    case CK_ENHMETAFILE:
      DeleteEnhMetaFile(static_cast<HENHMETAFILE>(h));
      break;
    case CK_METAFILEPICT:
      if (auto* p = static_cast<METAFILEPICT*>(GlobalLock(h))) {
        DeleteMetaFile(p->hMF);
        GlobalUnlock(h);
      }
      GlobalFree(h);
      break;
    case CK_GLOBAL:
      GlobalFree(h);
      break;
  }
}

// Colour-table entries that follow a DIB header.
DWORD dib_colour_entries(const BITMAPINFOHEADER& h) {
  DWORD n = h.biClrUsed;
  if (n == 0 && h.biBitCount <= 8) n = 1u << h.biBitCount;
  if (h.biCompression == BI_BITFIELDS) n += 3;
  return n;
}

}  // namespace

bool w32_clipboard_open(HWND owner, int attempts, int interval_ms) {
  for (int i = 0; i < attempts; ++i) {
    if (OpenClipboard(owner)) return true;
    if (i + 1 < attempts) Sleep(static_cast<DWORD>(interval_ms));
  }
  return false;
}

std::string w32_clipboard_format_name(UINT format) {
  static const struct {
    UINT format;
    const char* name;
  } names[] = {
      {CF_TEXT, "CF_TEXT"},
      {CF_BITMAP, "CF_BITMAP"},
      {CF_METAFILEPICT, "CF_METAFILEPICT"},
      {CF_SYLK, "CF_SYLK"},
      {CF_DIF, "CF_DIF"},
      {CF_TIFF, "CF_TIFF"},
      {CF_OEMTEXT, "CF_OEMTEXT"},
      {CF_DIB, "CF_DIB"},
      {CF_PALETTE, "CF_PALETTE"},
      {CF_PENDATA, "CF_PENDATA"},
      {CF_RIFF, "CF_RIFF"},
      {CF_WAVE, "CF_WAVE"},
      {CF_UNICODETEXT, "CF_UNICODETEXT"},
      {CF_ENHMETAFILE, "CF_ENHMETAFILE"},
      {CF_HDROP, "CF_HDROP"},
      {CF_LOCALE, "CF_LOCALE"},
      {CF_DIBV5, "CF_DIBV5"},
      {CF_OWNERDISPLAY, "CF_OWNERDISPLAY"},
      {CF_DSPTEXT, "CF_DSPTEXT"},
      {CF_DSPBITMAP, "CF_DSPBITMAP"},
      {CF_DSPMETAFILEPICT, "CF_DSPMETAFILEPICT"},
      {CF_DSPENHMETAFILE, "CF_DSPENHMETAFILE"},
  };
  for (const auto& n : names)
    if (n.format == format) return n.name;
  char buf[256];
  if (format >= 0xC000) {
    int len = GetClipboardFormatNameA(format, buf, sizeof buf);
    if (len > 0) return std::string(buf, static_cast<size_t>(len));
  }
  snprintf(buf, sizeof buf, "#%u", format);
  return buf;
}

HANDLE w32_clipboard_get_data(UINT format) {
  // Asking again for these would only wait for an owner that is not going to render them.
  bool no_retry = format == CF_HDROP ||
                  (format >= 0xC000 && w32_clipboard_format_name(format) == "OwnerLink");
  for (int attempt = 0; attempt < 52; ++attempt) {
    SetLastError(0);
    HANDLE h = GetClipboardData(format);
    if (h) return h;
    if (no_retry || GetLastError() == 0) return nullptr;
    Sleep(10);
  }
  return nullptr;
}

std::optional<std::string> w32_clipboard_read_text() {
  HANDLE h = GetClipboardData(CF_UNICODETEXT);
  if (!h) return std::nullopt;
  auto* w = static_cast<const wchar_t*>(GlobalLock(h));
  if (!w) return std::nullopt;
  // The block may lack its terminator; never read past it.
  size_t max_units = GlobalSize(h) / sizeof(wchar_t);
  size_t n = wcsnlen(w, max_units);
  std::string s = w32_to_utf8(w, static_cast<int>(n));
  GlobalUnlock(h);
  return s;
}

bool w32_clipboard_write_text(const std::string& utf8) {
  std::wstring w = w32_to_utf16(utf8);
  if (!EmptyClipboard()) return false;
  HGLOBAL g = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, (w.size() + 1) * sizeof(wchar_t));
  if (!g) return false;
  memcpy(GlobalLock(g), w.c_str(), (w.size() + 1) * sizeof(wchar_t));
  GlobalUnlock(g);
  if (!SetClipboardData(CF_UNICODETEXT, g)) {
    GlobalFree(g);
    return false;
  }
  return true;
}

HGLOBAL w32_bitmap_to_dib(HBITMAP bmp) {
  BITMAP bm;
  if (!bmp || !GetObjectW(bmp, sizeof bm, &bm)) return nullptr;
  int depth = bm.bmPlanes * bm.bmBitsPixel;
  WORD bits = depth <= 1 ? 1 : depth <= 4 ? 4 : depth <= 8 ? 8 : depth <= 16 ? 16 : depth <= 24 ? 24 : 32;
  BITMAPINFOHEADER h;
  memset(&h, 0, sizeof h);
  h.biSize = sizeof h;
  h.biWidth = bm.bmWidth;
  h.biHeight = bm.bmHeight;
  h.biPlanes = 1;
  h.biBitCount = bits;
  h.biCompression = BI_RGB;
  DWORD stride = ((static_cast<DWORD>(bm.bmWidth) * bits + 31) / 32) * 4;
  h.biSizeImage = stride * static_cast<DWORD>(bm.bmHeight);
  DWORD colours = dib_colour_entries(h);
  SIZE_T size = sizeof h + colours * sizeof(RGBQUAD) + h.biSizeImage;
  HGLOBAL g = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, size);
  if (!g) return nullptr;
  auto* p = static_cast<BYTE*>(GlobalLock(g));
  memcpy(p, &h, sizeof h);
  HDC dc = GetDC(nullptr);
  int rows = GetDIBits(dc, bmp, 0, static_cast<UINT>(bm.bmHeight),
                       p + sizeof h + colours * sizeof(RGBQUAD), reinterpret_cast<BITMAPINFO*>(p),
                       DIB_RGB_COLORS);
  ReleaseDC(nullptr, dc);
  GlobalUnlock(g);
  if (rows != bm.bmHeight) {
    GlobalFree(g);
    return nullptr;
  }
  return g;
}

HBITMAP w32_dib_to_bitmap(HGLOBAL dib) {
  if (!dib || GlobalSize(dib) < sizeof(BITMAPINFOHEADER)) return nullptr;
  auto* h = static_cast<BITMAPINFOHEADER*>(GlobalLock(dib));
  if (!h) return nullptr;
  const BYTE* bits = reinterpret_cast<const BYTE*>(h) + h->biSize + dib_colour_entries(*h) * sizeof(RGBQUAD);
  HDC dc = GetDC(nullptr);
  HBITMAP bmp = CreateDIBitmap(dc, h, CBM_INIT, bits, reinterpret_cast<BITMAPINFO*>(h), DIB_RGB_COLORS);
  ReleaseDC(nullptr, dc);
  GlobalUnlock(dib);
  return bmp;
}

w32_clipboard_backup::~w32_clipboard_backup() {
  for (w32_clip_item& it : items) free_handle(it.format, it.handle);
}

std::vector<std::string> w32_clipboard_backup::formats() const {
  std::vector<std::string> out;
  for (const w32_clip_item& it : items) out.push_back(w32_clipboard_format_name(it.format));
  return out;
}

std::unique_ptr<w32_clipboard_backup> w32_clipboard_backup_take(HWND owner, int attempts,
                                                                 int interval_ms) {
  if (!w32_clipboard_open(owner, attempts, interval_ms)) return nullptr;
  auto b = std::make_unique<w32_clipboard_backup>();
  for (UINT f = EnumClipboardFormats(0); f != 0; f = EnumClipboardFormats(f)) {
    if (kind_of(f) == CK_EMPTY) {
      b->items.push_back({f, nullptr});
      continue;
    }
    HANDLE h = w32_clipboard_get_data(f);
    if (!h) continue;
    HANDLE copy = duplicate(f, h);
    if (copy) b->items.push_back({f, copy});
  }
  CloseClipboard();
  return b;
}

bool w32_clipboard_backup_restore(const w32_clipboard_backup& b, HWND owner, int attempts,
                                  int interval_ms) {
  if (!w32_clipboard_open(owner, attempts, interval_ms)) return false;
  EmptyClipboard();
  for (const w32_clip_item& it : b.items) {
    // The clipboard takes ownership of what it is given; the backup keeps its own copy.
    HANDLE copy = it.handle ? duplicate(it.format, it.handle) : nullptr;
    if (it.handle && !copy) continue;
    if (!SetClipboardData(it.format, copy)) free_handle(it.format, copy);
  }
  CloseClipboard();
  return true;
}
