// `pxkit demo` at a small size: the synthetic samples follow the ToF model, the
// printed accuracy meets its bounds, and every picture is written.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>
#include <sstream>
#include <iterator>

#include "colour_map.h"
#include "figure.h"
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

// A figure keeps the image's pixels, puts the bar's top and bottom colours at
// the range's ends, and rings a marked pixel in the mark colour.
TEST(DemoFigure, ImageBarAndRings) {
  const pxcli::Size size{60, 40};
  pxcli::RgbImage image{size, std::vector<std::uint8_t>(size.pixels() * 3, 200)};
  const std::uint32_t marked = 20 * size.width + 30;
  const pxcli::FigureStyle style{"title", pxcli::BarColours::kTurbo, "0 m", "1 m", {marked}};
  pxcli::FigureLayout at;
  const pxcli::RgbImage fig = pxcli::render_figure(image, style, &at);
  ASSERT_GE(fig.size.width, at.bar_x + at.bar_width);
  ASSERT_GE(fig.size.height, at.image_y + size.height);
  const auto px = [&](std::uint32_t x, std::uint32_t y) {
    const std::uint8_t* p = fig.rgb.data() + (std::size_t{y} * fig.size.width + x) * 3;
    return std::array<int, 3>{p[0], p[1], p[2]};
  };
  const std::array<int, 3> grey{200, 200, 200};
  EXPECT_EQ(px(at.image_x, at.image_y), grey);
  EXPECT_EQ(px(at.image_x + size.width - 1, at.image_y + size.height - 1), grey);
  // The marked pixel itself is untouched; a ring around it is in the mark colour.
  EXPECT_EQ(px(at.image_x + 30, at.image_y + 20), grey);
  int ringed = 0;
  for (std::uint32_t dx = 2; dx <= 12; ++dx) {
    const auto c = px(at.image_x + 30 - dx, at.image_y + 20);
    ringed += c[0] > 220 && c[1] < 150 && c[2] > 220;
  }
  EXPECT_GT(ringed, 0);
  // The bar runs through turbo from the top (high) down to the bottom (low).
  const auto near = [](std::array<int, 3> c, pxcli::Rgb want) {
    return std::abs(c[0] - want.r) < 12 && std::abs(c[1] - want.g) < 12 && std::abs(c[2] - want.b) < 12;
  };
  const std::uint32_t mid = at.bar_x + at.bar_width / 2;
  for (std::uint32_t y : {2u, size.height / 2, size.height - 3}) {
    EXPECT_TRUE(near(px(mid, at.image_y + y), pxcli::turbo(1.0 - (y + 0.5) / size.height))) << y;
  }
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
    EXPECT_GT(w, 96u) << name;  // the frame with its title and colour bar
    EXPECT_GT(h, 72u) << name;
  }
  // The data-code panel: the code cut out upright reads back module for module.
  EXPECT_NE(run.out.find("modules read correctly 625/625"), std::string::npos) << run.out;
  for (const char* name : {"code_scene.png", "code_upright.png"}) {
    EXPECT_NE(run.out.find(name), std::string::npos) << name;
    std::uint32_t w = 0, h = 0;
    EXPECT_NO_THROW(read_png_grey8(pics + "/" + name, w, h)) << name;
  }
  // The scaling panel: the depth at half and twice the size, with its timing rows.
  for (const auto& [name, w, h] : {std::tuple<const char*, std::uint32_t, std::uint32_t>{
                                       "scaled_depth_down_48x36_0-7.50m.png", 48, 36},
                                   {"scaled_depth_up_192x144_0-7.50m.png", 192, 144}}) {
    EXPECT_NE(run.out.find(name), std::string::npos) << name;
    std::uint32_t pw = 0, ph = 0;
    EXPECT_NO_THROW(read_png_grey8(pics + "/" + name, pw, ph)) << name;
    EXPECT_GT(pw, w) << name;  // the scaled frame with its title and colour bar
    EXPECT_GT(ph, h) << name;
  }
  EXPECT_NE(run.out.find("\nbilinear scale u16 depth -> 48x36 "), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("\nbilinear scale u16 depth -> 192x144 "), std::string::npos) << run.out;
  // Colour panel: the chart in colour, its grey at full and half size, the rotation.
  for (const char* name : {"colour_chart.png", "colour_grey.png", "colour_grey_half.png",
                           "colour_rotated_30deg.png"}) {
    EXPECT_NE(run.out.find(name), std::string::npos) << name;
    std::uint32_t w = 0, h = 0;
    EXPECT_NO_THROW(read_png_grey8(pics + "/" + name, w, h)) << name;
    EXPECT_EQ(w, std::string(name) == "colour_grey_half.png" ? 48u : 96u) << name;
  }
  // The edge panel: before and after s1 side by side, 8 pixels apart.
  std::uint32_t w = 0, h = 0;
  EXPECT_NO_THROW(read_png_grey8(pics + "/edges_s1_0-7.50m.png", w, h));
  EXPECT_EQ(w, 2 * 96u + 8);
  EXPECT_EQ(h, 72u);
  EXPECT_NE(run.out.find("\ns1 edge suppression f32, 2 threads "), std::string::npos) << run.out;
  constexpr long kYuvPanelPictures = 4;  // see cli_yuv_test.cc
  // Six ToF pictures, the samples folder, the YUV panel's pictures, the edge panel, the colour panel's four,
  // the two scaled depths and the data-code panel's two.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(pics), std::filesystem::directory_iterator()),
            7 + kYuvPanelPictures + 1 + 4 + 2 + 2)
      << "temporary files left behind";
}

// The demo writes its sample planes and prints the commands that decode them;
// run as printed, they give the scene's distances in metres.
TEST(CliDemo, PrintedCommandsDecodeTheWrittenSamples) {
  ScratchDir dir;
  const ToolRun demo = run_tool({"demo", "--size", "64x48", "--noise", "0", "--out", "d"}, dir.path());
  ASSERT_EQ(demo.exit_code, 0) << demo.err;
  std::vector<std::vector<std::string>> commands;
  for (std::size_t at = demo.out.find("\n  pxkit "); at != std::string::npos;
       at = demo.out.find("\n  pxkit ", at + 1)) {
    std::istringstream line(demo.out.substr(at + 9, demo.out.find('\n', at + 1) - at - 9));
    commands.emplace_back(std::istream_iterator<std::string>(line), std::istream_iterator<std::string>());
  }
  ASSERT_EQ(commands.size(), 2u) << demo.out;
  for (const auto& args : commands) {
    const ToolRun run = run_tool(args, dir.path());
    ASSERT_EQ(run.exit_code, 0) << run.err;
  }
  const pxcli::ToFScene truth = pxcli::synthesise_scene({{64, 48}, 0.0, 1}, pxcli::Modulation{});
  std::uint32_t w = 0, h = 0;
  const std::vector<float> depth = read_tiff_float(dir / "d/tof_dual_depth.tiff", w, h);
  ASSERT_EQ(depth.size(), truth.truth_m.size());
  double error = 0;
  for (std::size_t i = 0; i < depth.size(); ++i) error += std::fabs(depth[i] - truth.truth_m[i]);
  EXPECT_LT(error / static_cast<double>(depth.size()), 0.01);  // metres
}

TEST(CliDemo, NoisyRunStaysCloseToTheTruth) {
  ScratchDir dir;
  const ToolRun run = run_tool({"demo", "--size", "96x72", "--out", "."}, dir.path());
  ASSERT_EQ(run.exit_code, 0) << run.err;
  // The figures are the same on every architecture and target: the scene is
  // synthesised deterministically and every kernel is bit-exact.
  EXPECT_EQ(accuracy_of(run.out, "single-frequency f32 depth + amp"), "mean |error| 6.20 mm inside 2.50 m (10% of pixels)");
  EXPECT_EQ(accuracy_of(run.out, "single-frequency fixed16 depth + amp"), "mean |error| 6.19 mm inside 2.50 m");
  EXPECT_EQ(accuracy_of(run.out, "dual-frequency f32 depth + amp"),
            "mean |error| 24.29 mm; wrap count correct 100.000% (6912/6912)");
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
