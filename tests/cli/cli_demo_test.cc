// `pxkit demo` at a small size: the synthetic samples follow the ToF model, the
// printed accuracy meets its bounds, and every picture is written.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
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

// The accuracy column of the table row that starts with `stage` (empty if absent).
std::string accuracy_of(const std::string& out, const std::string& stage) {
  std::size_t at = out.find("\n" + stage + " ");
  if (at == std::string::npos) return "";
  const std::size_t end = out.find('\n', at + 1);
  const std::string row = out.substr(at + 1, end - at - 1);
  const std::size_t accuracy = row.find("mean |error| ");
  return accuracy == std::string::npos ? "" : row.substr(accuracy);
}

Figures parse_table(const std::string& out) {
  Figures f;
  std::sscanf(accuracy_of(out, "single-frequency f32 depth + amp").c_str(), "mean |error| %lf mm", &f.single_mm);
  std::sscanf(accuracy_of(out, "single-frequency fixed16 depth + amp").c_str(), "mean |error| %lf mm", &f.fixed_mm);
  const std::string dual = accuracy_of(out, "dual-frequency f32 depth + amp");
  std::sscanf(dual.c_str(), "mean |error| %lf mm", &f.dual_mm);
  const std::size_t counts = dual.rfind('(');
  if (counts != std::string::npos) std::sscanf(dual.c_str() + counts, "(%lld/%lld)", &f.correct, &f.pixels);
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
  // The data-code panel: the code cut out upright reads back module for module.
  EXPECT_NE(run.out.find("modules read correctly 625/625"), std::string::npos) << run.out;
  for (const char* name : {"code_scene.png", "code_upright.png"}) {
    EXPECT_NE(run.out.find(name), std::string::npos) << name;
    std::uint32_t w = 0, h = 0;
    EXPECT_NO_THROW(read_png_grey8(pics + "/" + name, w, h)) << name;
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(pics), std::filesystem::directory_iterator()), 8)
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
  EXPECT_NE(run.out.find("modules read correctly 625/625"), std::string::npos) << run.out;
}

}  // namespace
}  // namespace clitest
