#include "pxkit.h"

#include "support/test_support.h"

namespace {

TEST(Version, WritesEightBytesAndReturnsTheBuffer) {
  std::uint8_t buffer[10];
  std::memset(buffer, 0xCC, sizeof buffer);
  EXPECT_EQ(get_pxkit_version(buffer), buffer);
  const std::uint8_t expected[8] = {PXKIT_VERSION_MAJOR, PXKIT_VERSION_MINOR, PXKIT_VERSION_PATCH & 0xFF,
                                    PXKIT_VERSION_PATCH >> 8, 0xE5, 0x07, 0x09, 0x12};
  EXPECT_EQ(std::memcmp(buffer, expected, 8), 0);
  EXPECT_EQ(buffer[8], 0xCC);  // nothing past the eight bytes
  EXPECT_EQ(buffer[9], 0xCC);
}

TEST(Version, NullBufferIsReturnedUnchanged) { EXPECT_EQ(get_pxkit_version(nullptr), nullptr); }

TEST(FilterPlaceholders, DoNothing) {
  const std::string out = pxtest::capture_stdout([] {
    EXPECT_EQ(setup_filter2d_f32_mono(), nullptr);
    filter2d_mono_f32();
    destroy_filter2d_f32_mono();
  });
  EXPECT_EQ(out, "");
}

}  // namespace
