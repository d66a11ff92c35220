// `pxkit demo` at a small size: the synthetic samples follow the ToF model, the
// printed accuracy meets its bounds, and every picture is written.
#include <gtest/gtest.h>

#include <cmath>
#include <regex>
#include <string>

#include "sample_files.h"
#include "scene.h"
#include "tool_runner.h"

namespace clitest {
namespace {

// Each pixel's samples decode, by the textbook formula in double precision, to
// its true distance (modulo the wrap) and to a positive amplitude.
TEST(DemoScene, NoiseFreeSamplesFollowTheModel) {
  const pxcli::Modulation mod;
  const pxcli::ToFScene s = pxcli::synthesise_scene({{64, 48}, 0.0, 1}, mod);
  const double wraps[2] = {mod.wrap0(), mod.wrap1()};
  double worst = 0;
  for (std::size_t i = 0; i < s.truth_m.size(); ++i) {
    ASSERT_GT(s.truth_m[i], 0.5f);
    ASSERT_LT(s.truth_m[i], mod.range_m);
    for (int f = 0; f < 2; ++f) {
      const double x = s.planes[4 * f][i] - s.planes[4 * f + 2][i];
      const double y = s.planes[4 * f + 1][i] - s.planes[4 * f + 3][i];
      ASSERT_GT(std::hypot(x, y), 50.0);
      double phase = std::atan2(y, x);
      if (phase < 0) phase += 2 * pxcli::kPi;
      const double d = phase / (2 * pxcli::kPi) * wraps[f];
      worst = std::max(worst, std::fabs(std::remainder(d - s.truth_m[i], wraps[f])));
    }
  }
  EXPECT_LT(worst, 0.01);  // metres; only the rounding of samples to integers remains
}

struct Figures {
  double single_mm = -1, fixed_mm = -1, dual_mm = -1;
  long long correct = -1, pixels = -1;
};

Figures parse_table(const std::string& out) {
  Figures f;
  std::smatch m;
  const std::regex single(R"(single-frequency f32 depth \+ amp +[0-9.]+ +[0-9.]+ +mean \|error\| ([0-9.]+) mm)");
  const std::regex fixed(R"(single-frequency fixed16 depth \+ amp +[0-9.]+ +[0-9.]+ +mean \|error\| ([0-9.]+) mm)");
  const std::regex dual(R"(dual-frequency f32 depth \+ amp +[0-9.]+ +[0-9.]+ +mean \|error\| ([0-9.]+) mm; )"
                        R"(wrap count correct [0-9.]+% \(([0-9]+)/([0-9]+)\))");
  if (std::regex_search(out, m, single)) f.single_mm = std::stod(m[1]);
  if (std::regex_search(out, m, fixed)) f.fixed_mm = std::stod(m[1]);
  if (std::regex_search(out, m, dual)) {
    f.dual_mm = std::stod(m[1]);
    f.correct = std::stoll(m[2]);
    f.pixels = std::stoll(m[3]);
  }
  return f;
}

TEST(CliDemo, NoiseFreeRunMeetsTheAccuracyBounds) {
  ScratchDir dir;
  const ToolRun run = run_tool({"demo", "--size", "96x72", "--noise", "0", "--out", "pics"}, dir.path());
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const Figures f = parse_table(run.out);
  const pxcli::Modulation mod;
  // Mean error below 1% of the wrap distance, and every wrap count right.
  EXPECT_GE(f.single_mm, 0) << run.out;
  EXPECT_LT(f.single_mm, 10 * mod.wrap0()) << run.out;
  EXPECT_GE(f.fixed_mm, 0) << run.out;
  EXPECT_LT(f.fixed_mm, 10 * mod.wrap0()) << run.out;
  EXPECT_GE(f.dual_mm, 0) << run.out;
  EXPECT_LT(f.dual_mm, 10 * mod.wrap1()) << run.out;
  EXPECT_EQ(f.pixels, 96 * 72) << run.out;
  EXPECT_EQ(f.correct, f.pixels) << run.out;

  const std::string pics = dir / "pics";
  for (const char* name : {"truth_depth_0-7.50m.png", "single_depth_0-2.50m.png", "single_amplitude.png",
                           "dual_depth_0-7.50m.png", "dual_error_0-50mm.png", "overview.png"}) {
    EXPECT_NE(run.out.find(name), std::string::npos) << name;
    std::uint32_t w = 0, h = 0;
    EXPECT_NO_THROW(read_png_grey8(pics + "/" + name, w, h)) << name;
    EXPECT_EQ(w, 96u) << name;
    EXPECT_EQ(h, 72u) << name;
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(pics), std::filesystem::directory_iterator()), 6)
      << "temporary files left behind";
}

TEST(CliDemo, NoisyRunStaysCloseToTheTruth) {
  ScratchDir dir;
  const ToolRun run = run_tool({"demo", "--size", "96x72", "--out", "."}, dir.path());
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const Figures f = parse_table(run.out);
  const pxcli::Modulation mod;
  EXPECT_GT(f.single_mm, 0.5) << "noise should show: " << run.out;
  EXPECT_LT(f.single_mm, 10 * mod.wrap0()) << run.out;
  EXPECT_LT(f.dual_mm, 20 * mod.wrap1()) << run.out;
  EXPECT_GE(static_cast<double>(f.correct), 0.99 * static_cast<double>(f.pixels)) << run.out;
}

}  // namespace
}  // namespace clitest
