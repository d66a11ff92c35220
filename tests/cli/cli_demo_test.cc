// `pxkit demo` at a small size: the synthetic samples follow the ToF model, the
// printed accuracy meets its bounds, and every picture is written.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "colour_map.h"
#include "figure.h"
#include "sample_files.h"
#include "scene.h"
#include "tool_runner.h"

namespace clitest {
namespace {

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

// The accuracy column of the table row that starts with `stage` (empty if
// absent), and the millimetres it starts with (-1 if absent).
std::string accuracy_of(const std::string& out, const std::string& stage) {
  std::size_t at = out.find("\n" + stage + " ");
  if (at == std::string::npos) return "";
  const std::string row = out.substr(at + 1, out.find('\n', at + 1) - at - 1);
  const std::size_t accuracy = row.find("mean |error| ");
  return accuracy == std::string::npos ? "" : row.substr(accuracy);
}
double mm_of(const std::string& out, const std::string& stage) {
  double mm = -1;
  std::sscanf(accuracy_of(out, stage).c_str(), "mean |error| %lf mm", &mm);
  return mm;
}

// A noise-free run: accuracy within bounds, every picture written, and the
// decode commands it prints give the scene's distances when run as printed.
TEST(CliDemo, NoiseFreeRunMeetsTheAccuracyBoundsAndWritesEveryPicture) {
  ScratchDir dir;
  const ToolRun run = run_tool({"demo", "--size", "96x72", "--noise", "0", "--out", "pics"}, dir.path());
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const pxcli::Modulation mod;
  // Mean error below 1% of the wrap distance, and every wrap count right.
  const double single = mm_of(run.out, "single-frequency f32 depth + amp");
  const double fixed = mm_of(run.out, "single-frequency fixed16 depth + amp");
  const double dual = mm_of(run.out, "dual-frequency f32 depth + amp");
  EXPECT_TRUE(single >= 0 && single < 10 * mod.wrap0()) << run.out;
  EXPECT_TRUE(fixed >= 0 && fixed < 10 * mod.wrap0()) << run.out;
  EXPECT_TRUE(dual >= 0 && dual < 10 * mod.wrap1()) << run.out;
  EXPECT_NE(accuracy_of(run.out, "dual-frequency f32 depth + amp").find("(6912/6912)"), std::string::npos)
      << run.out;
  for (const char* row : {"\nbilinear scale u16 depth -> 48x36 ", "\nbilinear scale u16 depth -> 192x144 ",
                          "\ns1 edge suppression f32, 2 threads ", "\nyuv bilinear NV12 1080p -> I420 720p ",
                          "\nyuv area NV12 1080p -> I420 720p ", "modules read correctly 625/625"}) {
    EXPECT_NE(run.out.find(row), std::string::npos) << row << " in: " << run.out;
  }
  EXPECT_EQ(run.out.find("DIFFERS"), std::string::npos) << run.out;

  // Each picture is listed and readable: exactly w x h, or larger than w x h
  // (a frame with its title and colour bar), or of any size (0 x 0).
  const struct {
    const char* name;
    std::uint32_t w, h;
    bool exact;
  } pictures[] = {
      {"truth_depth_0-7.50m.png", 96, 72, false},  {"single_depth_0-2.50m.png", 96, 72, false},
      {"single_amplitude.png", 96, 72, false},     {"dual_depth_0-7.50m.png", 96, 72, false},
      {"dual_error_0-50mm.png", 96, 72, false},    {"overview.png", 96, 72, false},
      {"code_scene.png", 0, 0, false},             {"code_upright.png", 0, 0, false},
      {"scaled_depth_down_48x36_0-7.50m.png", 48, 36, false},
      {"scaled_depth_up_192x144_0-7.50m.png", 192, 144, false},
      {"colour_chart.png", 96, 72, true},          {"colour_grey.png", 96, 72, true},
      {"colour_grey_half.png", 48, 36, true},      {"colour_rotated_30deg.png", 96, 72, true},
      {"edges_s1_0-7.50m.png", 2 * 96 + 8, 72, true},  // before and after s1, 8 pixels apart
      {"yuv_chart_1920x1080.png", 1920, 1080, true}, {"yuv_bilinear_1280x720.png", 1280, 720, true},
      {"yuv_area_1280x720.png", 1280, 720, true},  {"yuv_bilinear_luma_1280x720.png", 1280, 720, true},
  };
  for (const auto& p : pictures) {
    SCOPED_TRACE(p.name);
    EXPECT_NE(run.out.find(p.name), std::string::npos);
    std::uint32_t w = 0, h = 0;
    EXPECT_NO_THROW(read_png_grey8(dir / ("pics/" + std::string(p.name)), w, h));
    if (p.exact) {
      EXPECT_EQ(w, p.w);
      EXPECT_EQ(h, p.h);
    } else {
      EXPECT_GT(w, p.w);
      EXPECT_GT(h, p.h);
    }
  }
  // The pictures and the samples folder, nothing else (no temporary files).
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir / "pics"), std::filesystem::directory_iterator()),
            static_cast<std::ptrdiff_t>(std::size(pictures)) + 1);

  std::vector<std::vector<std::string>> commands;
  for (std::size_t at = run.out.find("\n  pxkit "); at != std::string::npos; at = run.out.find("\n  pxkit ", at + 1)) {
    std::istringstream line(run.out.substr(at + 9, run.out.find('\n', at + 1) - at - 9));
    commands.emplace_back(std::istream_iterator<std::string>(line), std::istream_iterator<std::string>());
  }
  ASSERT_EQ(commands.size(), 2u) << run.out;
  for (const auto& args : commands) ASSERT_EQ(run_tool(args, dir.path()).exit_code, 0);
  const pxcli::ToFScene truth = pxcli::synthesise_scene({{96, 72}, 0.0, 1}, mod);
  const std::vector<float> depth = read_floats(dir / "pics/tof_dual_depth.tiff", 96, 72);
  ASSERT_EQ(depth.size(), truth.truth_m.size());
  double error = 0;
  for (std::size_t i = 0; i < depth.size(); ++i) error += std::fabs(depth[i] - truth.truth_m[i]);
  EXPECT_LT(error / static_cast<double>(depth.size()), 0.01);  // metres
}

TEST(CliDemo, NoisyRunGivesTheSameFiguresEverywhere) {
  ScratchDir dir;
  const ToolRun run = run_tool({"demo", "--size", "96x72", "--out", "."}, dir.path());
  ASSERT_EQ(run.exit_code, 0) << run.err;
  // The figures are the same on every architecture and target: the scene is
  // synthesised deterministically and every kernel is bit-exact.
  EXPECT_EQ(accuracy_of(run.out, "single-frequency f32 depth + amp"), "mean |error| 6.20 mm inside 2.50 m (10% of pixels)");
  EXPECT_EQ(accuracy_of(run.out, "single-frequency fixed16 depth + amp"), "mean |error| 6.19 mm inside 2.50 m");
  EXPECT_EQ(accuracy_of(run.out, "dual-frequency f32 depth + amp"),
            "mean |error| 24.29 mm; wrap count correct 100.000% (6912/6912)");
  EXPECT_NE(run.out.find("modules read correctly 625/625"), std::string::npos) << run.out;
}

}  // namespace
}  // namespace clitest
