// pxkit warp: an axis-aligned and a tilted region come out upright with the
// right pixels; bad arguments and inputs are refused with one line and exit 2.
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

TEST(CliWarp, RefusesBadArgumentsWithOneLine) {
  struct Bad { std::vector<std::string> args; const char* why; };
  const Bad cases[] = {
      {{"warp", "in.png", "out.png", "--corners", "1,2,3", "--size", "8x8"}, "bad corners"},
      {{"warp", "in.png", "out.png", "--corners", "1,2,3,4,5,6,7,x", "--size", "8x8"}, "bad corners"},
      {{"warp", "in.png", "out.png", "--corners", "10,5,20,5,30,5,8,38", "--size", "8x8"}, "convex"},
      {{"warp", "in.png", "out.png", "--corners", "5,5,30,30,30,5,5,30", "--size", "8x8"}, "convex"},
      {{"warp", "in.png", "out.png", "--corners", "5,5,30,5,30,30,5,30", "--size", "8by8"}, "bad size"},
      {{"warp", "missing.png", "out.png", "--corners", "5,5,30,5,30,30,5,30", "--size", "8x8"}, "no such file"},
      {{"warp", "junk.png", "out.png", "--corners", "5,5,30,5,30,30,5,30", "--size", "8x8"}, "PNG"},
      {{"warp", "in.png", "out.png", "--size", "8x8"}, "--corners"},
      {{"warp", "in.png", "out.png", "--corners", "5,5,5000,5,5000,30,5,30", "--size", "8x8"}, "range"},
  };
  for (const Bad& b : cases) {
    ScratchDir dir;
    write_source(dir);
    write_bytes(dir / "junk.png", {1, 2, 3, 4});
    const ToolRun run = run_tool(b.args, dir.path());
    EXPECT_EQ(run.exit_code, 2) << run.err;
    EXPECT_EQ(line_count(run.err), 1) << run.err;
    EXPECT_EQ(run.err.rfind("pxkit warp: ", 0), 0u) << run.err;
    EXPECT_NE(run.err.find(b.why), std::string::npos) << "expected '" << b.why << "' in: " << run.err;
    EXPECT_EQ(dir.files(), (std::vector<std::string>{"in.png", "junk.png"})) << run.err;
  }
  ScratchDir dir;
  const ToolRun help = run_tool({"warp", "--help"}, dir.path());
  EXPECT_EQ(help.exit_code, 0);
  EXPECT_NE(help.out.find("--corners"), std::string::npos);
}

}  // namespace
}  // namespace clitest
