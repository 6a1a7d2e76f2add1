// The expansion sound travels as a resource of the program.
#include "platform/win32/win32_platform.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/win32/w32.h"

namespace {

TEST(Win32Sound, ProgramCarriesAWaveResourceAndPlaysIt) {
  HRSRC res = FindResourceA(nullptr, "popWav", "WAVE");
  ASSERT_NE(res, nullptr);
  EXPECT_EQ(SizeofResource(nullptr, res), 5796u);
  const void* data = LockResource(LoadResource(nullptr, res));
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(memcmp(data, "RIFF", 4), 0);
  EXPECT_EQ(memcmp(static_cast<const char*>(data) + 8, "WAVE", 4), 0);
  // Asynchronous: returns at once, with or without a sound device.
  DWORD start = GetTickCount();
  w32_platform()->play_expansion_sound();
  EXPECT_LT(GetTickCount() - start, 200u);
}

}  // namespace
