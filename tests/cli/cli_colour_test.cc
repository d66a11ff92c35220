// pxkit grey and pxkit rotate: results equal direct library calls and every
// layout gives the same picture (refusals: cli_errors_test.cc).
#include <gtest/gtest.h>
#include <pxkit.h>

#include <cstdint>
#include <string>
#include <vector>

#include "image_writers.h"
#include "tool_runner.h"

namespace clitest {
namespace {

constexpr std::uint32_t kW = 23, kH = 11;

std::vector<std::uint8_t> colour_pixels() {
  std::vector<std::uint8_t> rgb(std::size_t{kW} * kH * 3);
  for (std::size_t i = 0; i < rgb.size(); ++i) rgb[i] = static_cast<std::uint8_t>(i * 37 + (i / 3) * 11);
  return rgb;
}

// The library's grey of the RGB pixels at `w` x `h`.
std::vector<std::uint8_t> library_grey(std::vector<std::uint8_t> rgb, std::uint32_t w, std::uint32_t h) {
  std::vector<std::uint8_t> grey(std::size_t{w} * h);
  scale_color_conversion_ctx ctx{};
  EXPECT_EQ(setup_scale_color_conversion(&ctx, kW, kH, w, h, PXKIT_FORMAT_RGB24, PXKIT_FORMAT_GREY), 0);
  img_planes src{{rgb.data()}, {kW * 3}}, dst{{grey.data()}, {w}};
  EXPECT_EQ(do_scale_color_conversion(&ctx, &src, &dst), 0);
  destroy_scale_color_conversion(&ctx);
  return grey;
}

TEST(CliGrey, EqualSizeAndResizedMatchTheLibraryInEveryLayout) {
  ScratchDir dir;
  const auto rgb = colour_pixels();
  pxcli::write_png_rgb8(dir / "in.png", {kW, kH}, rgb);
  struct Case {
    std::vector<std::string> extra;
    std::uint32_t w, h;
  };
  const Case cases[] = {{{}, kW, kH},
                        {{"--size", "9x5"}, 9, 5},
                        {{"--size", "40x17", "--layout", "bgr"}, 40, 17},
                        {{"--layout", "xbgr"}, kW, kH},
                        {{"--layout", "rgbx", "--size", "7x30"}, 7, 30}};
  for (const Case& c : cases) {
    std::vector<std::string> args = {"grey", "in.png", "out.png"};
    args.insert(args.end(), c.extra.begin(), c.extra.end());
    const ToolRun run = run_tool(args, dir.path());
    ASSERT_EQ(run.exit_code, 0) << run.err;
    std::uint32_t w = 0, h = 0;
    const auto grey = read_png_grey8(dir / "out.png", w, h);
    EXPECT_EQ(w, c.w);
    EXPECT_EQ(h, c.h);
    EXPECT_EQ(grey, library_grey(rgb, c.w, c.h)) << args.back();
  }
}

TEST(CliRotate, ZeroDegreesKeepsTheInteriorAndTheAngleTurnsThePicture) {
  ScratchDir dir;
  std::vector<std::uint8_t> grey(std::size_t{kW} * kH);
  for (std::size_t i = 0; i < grey.size(); ++i) grey[i] = static_cast<std::uint8_t>(i * 13);
  pxcli::write_png_grey8(dir / "in.png", {kW, kH}, grey);
  ASSERT_EQ(run_tool({"rotate", "in.png", "same.png", "--angle", "0"}, dir.path()).exit_code, 0);
  std::uint32_t w = 0, h = 0;
  const auto same = read_png_grey8(dir / "same.png", w, h);
  ASSERT_EQ(w, kW);
  ASSERT_EQ(h, kH);
  // Integer positions give the pixels themselves; the first two and last two
  // outputs of each line are outside the usable range.
  for (std::uint32_t y = 0; y < kH; ++y)
    for (std::uint32_t x = 0; x < kW; ++x)
      EXPECT_EQ(same[y * kW + x], x >= 2 && x < kW - 2 ? grey[y * kW + x] : 0) << x << "," << y;
  // A half turn twice is the identity in the middle of an odd-sized picture.
  ASSERT_EQ(run_tool({"rotate", "in.png", "half.png", "--angle", "180", "--a", "0"}, dir.path()).exit_code, 0);
  const auto half = read_png_grey8(dir / "half.png", w, h);
  EXPECT_NEAR(half[5 * kW + 11], grey[5 * kW + 11], 1);
  EXPECT_NEAR(half[5 * kW + 8], grey[5 * kW + 14], 1);
}

}  // namespace
}  // namespace clitest
