// The clipboard: text both ways, and a backup of every format that survives the clipboard
// being taken over and is put back exactly.
#include "platform/win32/clipboard.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include "platform/win32/win32_platform.h"

namespace {

// An 8x4 bitmap in the screen's format with a distinct colour per pixel.
HBITMAP make_bitmap() {
  HDC screen = GetDC(nullptr);
  HBITMAP bmp = CreateCompatibleBitmap(screen, 8, 4);
  HDC dc = CreateCompatibleDC(screen);
  HGDIOBJ old = SelectObject(dc, bmp);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 8; ++x) SetPixel(dc, x, y, RGB(x * 30, y * 60, 255 - x * 10));
  SelectObject(dc, old);
  DeleteDC(dc);
  ReleaseDC(nullptr, screen);
  return bmp;
}

// The pixels of a bitmap as 32-bit BGRX rows, top-down.
std::vector<uint32_t> pixels(HBITMAP bmp) {
  BITMAPINFO bi;
  memset(&bi, 0, sizeof bi);
  bi.bmiHeader.biSize = sizeof bi.bmiHeader;
  bi.bmiHeader.biWidth = 8;
  bi.bmiHeader.biHeight = -4;
  bi.bmiHeader.biPlanes = 1;
  bi.bmiHeader.biBitCount = 32;
  bi.bmiHeader.biCompression = BI_RGB;
  std::vector<uint32_t> px(32);
  HDC dc = GetDC(nullptr);
  int rows = GetDIBits(dc, bmp, 0, 4, px.data(), &bi, DIB_RGB_COLORS);
  ReleaseDC(nullptr, dc);
  if (rows != 4) return {};
  for (uint32_t& p : px) p &= 0xFFFFFF;
  return px;
}

// Puts text and a bitmap on the clipboard together, as an image editor offering both would.
bool put_text_and_bitmap(HWND owner, const wchar_t* text, HBITMAP bmp) {
  if (!w32_clipboard_open(owner, 52, 10)) return false;
  EmptyClipboard();
  size_t bytes = (wcslen(text) + 1) * sizeof(wchar_t);
  HGLOBAL g = GlobalAlloc(GMEM_MOVEABLE, bytes);
  memcpy(GlobalLock(g), text, bytes);
  GlobalUnlock(g);
  bool ok = SetClipboardData(CF_UNICODETEXT, g) && SetClipboardData(CF_BITMAP, bmp);
  CloseClipboard();
  return ok;
}

class Win32Clipboard : public ::testing::Test {
 protected:
  void SetUp() override {
    owner_ = CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                             nullptr);
    ASSERT_NE(owner_, nullptr);
  }
  void TearDown() override { DestroyWindow(owner_); }
  HWND owner_ = nullptr;
};

TEST_F(Win32Clipboard, TextRoundTripsThroughThePlatform) {
  platform* p = w32_platform();
  const std::string text = "Grüße\r\n\xF0\x9F\x98\x80 und €";
  ASSERT_TRUE(p->clipboard_set_text(text, PLAT_SEL_CLIPBOARD, 52, 10));
  EXPECT_EQ(p->clipboard_get_text(PLAT_SEL_CLIPBOARD), text);
  EXPECT_EQ(p->clipboard_get_text(PLAT_SEL_PRIMARY), std::nullopt) << "Windows has no PRIMARY";
  ASSERT_TRUE(p->clipboard_set_text("", PLAT_SEL_CLIPBOARD, 52, 10));
  EXPECT_EQ(p->clipboard_get_text(PLAT_SEL_CLIPBOARD), "");
}

TEST_F(Win32Clipboard, BackupKeepsTextAndBitmapAcrossAPaste) {
  HBITMAP bmp = make_bitmap();
  std::vector<uint32_t> want = pixels(bmp);
  ASSERT_EQ(want.size(), 32u);
  ASSERT_TRUE(put_text_and_bitmap(owner_, L"the user's own text", bmp));

  platform* p = w32_platform();
  std::unique_ptr<plat_clipboard_backup> backup = p->clipboard_backup(52, 10);
  ASSERT_NE(backup, nullptr);
  std::vector<std::string> formats = backup->formats();
  EXPECT_NE(std::find(formats.begin(), formats.end(), "CF_UNICODETEXT"), formats.end());
  EXPECT_NE(std::find(formats.begin(), formats.end(), "CF_BITMAP"), formats.end());

  // The expansion pastes through the clipboard: every format is replaced.
  ASSERT_TRUE(p->clipboard_set_text("expansion text", PLAT_SEL_CLIPBOARD, 52, 10));
  ASSERT_TRUE(OpenClipboard(nullptr));
  EXPECT_FALSE(IsClipboardFormatAvailable(CF_BITMAP));
  CloseClipboard();

  // Restoring twice shows the backup is not consumed by the clipboard taking its handles.
  for (int round = 0; round < 2; ++round) {
    SCOPED_TRACE(round);
    ASSERT_TRUE(p->clipboard_restore(*backup, 52, 10));
    EXPECT_EQ(p->clipboard_get_text(PLAT_SEL_CLIPBOARD), "the user's own text");
    ASSERT_TRUE(OpenClipboard(nullptr));
    auto restored = static_cast<HBITMAP>(GetClipboardData(CF_BITMAP));
    ASSERT_NE(restored, nullptr);
    EXPECT_EQ(pixels(restored), want);
    CloseClipboard();
    ASSERT_TRUE(p->clipboard_set_text("again", PLAT_SEL_CLIPBOARD, 52, 10));
  }
}

TEST_F(Win32Clipboard, RegisteredFormatsKeepTheirBytesAndNames) {
  UINT html = RegisterClipboardFormatW(L"HTML Format");
  const char data[] = "Version:0.9\r\n<b>bold</b>";
  ASSERT_TRUE(w32_clipboard_open(owner_, 52, 10));
  EmptyClipboard();
  HGLOBAL g = GlobalAlloc(GMEM_MOVEABLE, sizeof data);
  memcpy(GlobalLock(g), data, sizeof data);
  GlobalUnlock(g);
  ASSERT_TRUE(SetClipboardData(html, g));
  CloseClipboard();

  std::unique_ptr<w32_clipboard_backup> b = w32_clipboard_backup_take(owner_, 52, 10);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->formats(), std::vector<std::string>{"HTML Format"});
  ASSERT_TRUE(w32_clipboard_open(owner_, 52, 10));
  EmptyClipboard();
  CloseClipboard();
  ASSERT_TRUE(w32_clipboard_backup_restore(*b, owner_, 52, 10));

  ASSERT_TRUE(OpenClipboard(nullptr));
  HANDLE h = GetClipboardData(html);
  ASSERT_NE(h, nullptr);
  ASSERT_GE(GlobalSize(h), sizeof data);
  EXPECT_EQ(memcmp(GlobalLock(h), data, sizeof data), 0);
  GlobalUnlock(h);
  CloseClipboard();
}

TEST_F(Win32Clipboard, EnhancedMetafileIsCopied) {
  HDC mf = CreateEnhMetaFileW(nullptr, nullptr, nullptr, nullptr);
  Rectangle(mf, 1, 2, 30, 40);
  HENHMETAFILE emf = CloseEnhMetaFile(mf);
  UINT want = GetEnhMetaFileBits(emf, 0, nullptr);
  ASSERT_GT(want, 0u);
  ASSERT_TRUE(w32_clipboard_open(owner_, 52, 10));
  EmptyClipboard();
  ASSERT_TRUE(SetClipboardData(CF_ENHMETAFILE, emf));
  CloseClipboard();

  std::unique_ptr<w32_clipboard_backup> b = w32_clipboard_backup_take(owner_, 52, 10);
  ASSERT_NE(b, nullptr);
  ASSERT_TRUE(w32_platform()->clipboard_set_text("x", PLAT_SEL_CLIPBOARD, 52, 10));
  ASSERT_TRUE(w32_clipboard_backup_restore(*b, owner_, 52, 10));
  ASSERT_TRUE(OpenClipboard(nullptr));
  auto back = static_cast<HENHMETAFILE>(GetClipboardData(CF_ENHMETAFILE));
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(GetEnhMetaFileBits(back, 0, nullptr), want);
  CloseClipboard();
}

TEST_F(Win32Clipboard, LockedClipboardGivesUpAfterTheLastAttempt) {
  // Another window holds the clipboard open: every attempt fails, and the time spent shows
  // the attempts were spaced.
  ASSERT_TRUE(OpenClipboard(owner_));
  DWORD start = GetTickCount();
  std::atomic<bool> opened{true};
  std::thread other([&] { opened = w32_clipboard_open(nullptr, 5, 20); });
  other.join();
  DWORD took = GetTickCount() - start;
  CloseClipboard();
  EXPECT_FALSE(opened);
  EXPECT_GE(took, 70u);
}

}  // namespace
