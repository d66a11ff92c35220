#include "demo_pictures.h"

#include <cmath>
#include <cstdint>
#include <cstdio>

#include "colour_map.h"
#include "figure.h"
#include "image_writers.h"

namespace pxcli {
namespace {

constexpr double kErrorMapMax = 0.05;  // metres at the red end of the error map
const Rgb kWrongWrap{255, 0, 255};     // magenta: not a turbo colour

std::string metres_label(double hi) {
  char text[32];
  std::snprintf(text, sizeof text, "0-%.2fm", hi);
  return text;
}

std::vector<std::string> picture_names(const Modulation& m) {
  return {"truth_depth_" + metres_label(m.range_m) + ".png",
          "single_depth_" + metres_label(m.wrap0()) + ".png",
          "single_amplitude.png",
          "dual_depth_" + metres_label(m.range_m) + ".png",
          "dual_error_0-" + std::to_string(std::lround(kErrorMapMax * 1000)) + "mm.png",
          "overview.png"};
}

// |dual depth - truth| in turbo colours up to kErrorMapMax; wrong wrap counts magenta.
std::vector<std::uint8_t> error_map(const DemoFrames& f, double wrap1) {
  std::vector<float> error(f.truth_m.size());
  for (std::size_t i = 0; i < error.size(); ++i) {
    error[i] = static_cast<float>(std::fabs(f.dual_depth_wraps[i] * wrap1 - f.truth_m[i]));
  }
  std::vector<std::uint8_t> rgb = colourise(error, 0.0, kErrorMapMax);
  for (std::size_t i = 0; i < error.size(); ++i) {
    if (error[i] >= wrap1 / 2) {
      rgb[3 * i] = kWrongWrap.r;
      rgb[3 * i + 1] = kWrongWrap.g;
      rgb[3 * i + 2] = kWrongWrap.b;
    }
  }
  return rgb;
}

std::vector<std::uint8_t> grey_to_rgb(const std::vector<std::uint8_t>& grey) {
  std::vector<std::uint8_t> rgb(grey.size() * 3);
  for (std::size_t i = 0; i < grey.size(); ++i) rgb[3 * i] = rgb[3 * i + 1] = rgb[3 * i + 2] = grey[i];
  return rgb;
}

// Pixels whose dual-frequency wrap count is wrong (at most `limit`, so that a
// broken decode still draws quickly), in the coordinates of an image `shrink`
// times smaller.
std::vector<std::uint32_t> wrong_wraps(const DemoFrames& f, double wrap1, std::uint32_t shrink, std::size_t limit) {
  std::vector<std::uint32_t> marked;
  const std::uint32_t width = f.size.width / shrink;
  for (std::size_t i = 0; i < f.truth_m.size() && marked.size() < limit; ++i) {
    if (std::fabs(f.dual_depth_wraps[i] * wrap1 - f.truth_m[i]) < wrap1 / 2) continue;
    const auto x = static_cast<std::uint32_t>(i % f.size.width) / shrink;
    const auto y = static_cast<std::uint32_t>(i / f.size.width) / shrink;
    if (x < width && y < f.size.height / shrink) marked.push_back(y * width + x);
  }
  return marked;
}

std::string metres(double v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f m", v);
  return text;
}

}  // namespace

DemoPictures stage_demo_pictures(StagedOutputs& outputs, const std::string& dir, const Modulation& m) {
  DemoPictures p;
  p.names = picture_names(m);
  for (const std::string& name : p.names) p.temp_paths.push_back(outputs.stage(dir + "/" + name));
  return p;
}

void write_demo_pictures(const DemoPictures& p, const DemoFrames& f, const Modulation& m) {
  std::vector<float> dual_m(f.dual_depth_wraps.size());
  for (std::size_t i = 0; i < dual_m.size(); ++i) {
    dual_m[i] = static_cast<float>(f.dual_depth_wraps[i] * m.wrap1());
  }
  char single_title[96], dual_title[96];
  std::snprintf(single_title, sizeof single_title, "%.0f MHz: distance (wraps at %.2f m)",
                m.f0() / 1e6, m.wrap0());
  std::snprintf(dual_title, sizeof dual_title, "%.0f + %.0f MHz: distance", m.f0() / 1e6,
                m.f1() / 1e6);
  const std::size_t wrong = wrong_wraps(f, m.wrap1(), 1, SIZE_MAX).size();
  const std::string error_title = "|error|, rings: " + std::to_string(wrong) + " wrong wraps";
  const std::string error_high = std::to_string(std::lround(kErrorMapMax * 1000)) + " mm";
  constexpr std::size_t kMaxRings = 2000;

  const RgbImage truth{f.size, colourise(f.truth_m, 0, m.range_m)};
  const RgbImage single{f.size, colourise(f.single_depth_m, 0, m.wrap0())};
  const std::vector<std::uint8_t> amplitude_grey = amplitude_to_grey(f.amplitude);
  const RgbImage amplitude{f.size, grey_to_rgb(amplitude_grey)};
  const RgbImage dual{f.size, colourise(dual_m, 0, m.range_m)};
  const RgbImage error{f.size, error_map(f, m.wrap1())};
  const FigureStyle truth_style{"Ground truth distance", BarColours::kTurbo, "0 m", metres(m.range_m), {}};
  const FigureStyle single_style{single_title, BarColours::kTurbo, "0 m", metres(m.wrap0()), {}};
  const FigureStyle amplitude_style{"Amplitude (square root)", BarColours::kGrey, "dark", "bright", {}};
  const FigureStyle dual_style{dual_title, BarColours::kTurbo, "0 m", metres(m.range_m), {}};
  FigureStyle error_style{error_title, BarColours::kTurbo, "0 mm", error_high, wrong_wraps(f, m.wrap1(), 1, kMaxRings)};

  const auto write_figure = [](const std::string& path, const RgbImage& image, const FigureStyle& style) {
    const RgbImage fig = render_figure(image, style);
    write_png_rgb8(path, fig.size, fig.rgb);
  };
  write_figure(p.temp_paths[0], truth, truth_style);
  write_figure(p.temp_paths[1], single, single_style);
  write_figure(p.temp_paths[2], amplitude, amplitude_style);
  write_figure(p.temp_paths[3], dual, dual_style);
  write_figure(p.temp_paths[4], error, error_style);

  // The overview: the four decoded pictures at half size, each with its own title and bar.
  error_style.marked = wrong_wraps(f, m.wrap1(), 2, kMaxRings);
  const RgbImage all = tile_figures({render_figure(halve(single), single_style), render_figure(halve(dual), dual_style),
                                     render_figure(halve(amplitude), amplitude_style),
                                     render_figure(halve(error), error_style)},
                                    2);
  write_png_rgb8(p.temp_paths[5], all.size, all.rgb);
}

}  // namespace pxcli
