#include "demo_scaling.h"

#include <pxkit.h>

#include <cmath>
#include <cstdint>
#include <cstdio>

#include "colour_map.h"
#include "figure.h"
#include "image_scaler.h"
#include "image_writers.h"
#include "stage_timer.h"

namespace pxcli {
namespace {

std::string picture_name(const char* direction, Size s, const Modulation& m) {
  char name[96];
  std::snprintf(name, sizeof name, "scaled_depth_%s_%ux%u_0-%.2fm.png", direction, s.width, s.height, m.range_m);
  return name;
}

// Depth in wraps of frequency 1 to whole millimetres (NaN and negatives 0).
std::vector<std::uint16_t> to_millimetres(const std::vector<float>& wraps, const Modulation& m) {
  std::vector<std::uint16_t> mm(wraps.size());
  for (std::size_t i = 0; i < wraps.size(); ++i) {
    const double v = std::round(static_cast<double>(wraps[i]) * m.wrap1() * 1000.0);
    mm[i] = v > 0 ? static_cast<std::uint16_t>(std::min(v, 65535.0)) : 0;
  }
  return mm;
}

}  // namespace

ScalingPanel stage_scaling_pictures(StagedOutputs& outputs, const std::string& dir, Size size, const Modulation& m) {
  ScalingPanel p;
  p.down = {size.width / 2, size.height / 2};
  p.up = {size.width * 2, size.height * 2};
  p.names = {picture_name("down", p.down, m), picture_name("up", p.up, m)};
  for (const std::string& name : p.names) p.temp_paths.push_back(outputs.stage(dir + "/" + name));
  return p;
}

std::vector<ScalingTiming> run_scaling_panel(const ScalingPanel& panel, Size size,
                                             const std::vector<float>& depth_wraps, const Modulation& m) {
  const std::vector<std::uint16_t> mm = to_millimetres(depth_wraps, m);
  std::vector<ScalingTiming> rows;
  const Size outputs[2] = {panel.down, panel.up};
  for (int k = 0; k < 2; ++k) {
    const Size to = outputs[k];
    const ImageScaler scaler(size, to, PXKIT_SCALE_DATA_U16);
    std::vector<std::uint16_t> scaled(to.pixels());
    const double ms = median_ms([&] { scaler.run(mm.data(), scaled.data()); });
    std::vector<float> metres(scaled.size());
    for (std::size_t i = 0; i < scaled.size(); ++i) metres[i] = static_cast<float>(scaled[i]) / 1000.0f;
    char title[96], high[32];
    std::snprintf(title, sizeof title, "Depth %s to %ux%u (bilinear, u16 mm)", k == 0 ? "halved" : "doubled",
                  to.width, to.height);
    std::snprintf(high, sizeof high, "%.2f m", m.range_m);
    const FigureStyle style{title, BarColours::kTurbo, "0 m", high, {}};
    const RgbImage figure = render_figure(RgbImage{to, colourise(metres, 0.0, m.range_m)}, style);
    write_png_rgb8(panel.temp_paths[k], figure.size, figure.rgb);
    rows.push_back({std::string("bilinear scale u16 depth -> ") + to_string(to), to, ms});
  }
  return rows;
}

}  // namespace pxcli
