// The version bytes are checked through the shared library by api/header_c99_test.c.
#include "pxkit.h"

#include "support/test_support.h"

namespace {

TEST(FilterPlaceholders, DoNothing) {
  const std::string out = pxtest::capture_stdout([] {
    EXPECT_EQ(setup_filter2d_f32_mono(), nullptr);
    filter2d_mono_f32();
    destroy_filter2d_f32_mono();
  });
  EXPECT_EQ(out, "");
}

}  // namespace
