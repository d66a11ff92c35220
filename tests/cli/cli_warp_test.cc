// pxkit warp: an axis-aligned and a tilted region come out upright with the
// right pixels (refusals: cli_errors_test.cc).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "image_writers.h"
#include "tool_runner.h"

namespace clitest {
namespace {

constexpr std::uint32_t kW = 80, kH = 60;

// A smooth ramp: sampling errors of a fraction of a pixel stay within a level or two.
std::uint8_t ramp(double x, double y) { return static_cast<std::uint8_t>(std::lround(2 * x + y)); }

void write_source(const ScratchDir& dir) {
  std::vector<std::uint8_t> grey(std::size_t{kW} * kH);
  for (std::uint32_t y = 0; y < kH; ++y)
    for (std::uint32_t x = 0; x < kW; ++x) grey[y * kW + x] = ramp(x, y);
  pxcli::write_png_grey8(dir / "in.png", {kW, kH}, grey);
}

struct Case {
  const char* corners;
  // Source point of output pixel (i, j) of a 20 x 10 output.
  double (*u)(double i, double j);
  double (*v)(double i, double j);
};

TEST(CliWarp, CutsTheRegionUpright) {
  const Case cases[] = {
      // Axis-aligned: output (i, j) is source (i + 5, j + 4).
      {"5,4,24,4,24,13,5,13", [](double i, double) { return i + 5; }, [](double, double j) { return j + 4; }},
      // Rotated by 90 degrees and scaled by 2: columns run down the source.
      {"40,10,40,48,22,48,22,10", [](double, double j) { return 40 - 2 * j; }, [](double i, double) { return 10 + 2 * i; }},
  };
  for (const Case& c : cases) {
    ScratchDir dir;
    write_source(dir);
    const ToolRun run = run_tool({"warp", "in.png", "out.png", "--corners", c.corners, "--size", "20x10"}, dir.path());
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.out.rfind("out.png: 20x10 cut from 80x60 in ", 0), 0u) << run.out;
    std::uint32_t w = 0, h = 0;
    const std::vector<std::uint8_t> out = read_png_grey8(dir / "out.png", w, h);
    ASSERT_EQ(w, 20u);
    ASSERT_EQ(h, 10u);
    for (std::uint32_t j = 0; j < h; ++j)
      for (std::uint32_t i = 0; i < w; ++i)
        ASSERT_LE(std::abs(out[j * w + i] - ramp(c.u(i, j), c.v(i, j))), 2) << c.corners << " at " << i << "," << j;
  }
}

}  // namespace
}  // namespace clitest
