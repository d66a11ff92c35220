#include "demo_pictures.h"

#include <cmath>
#include <cstdio>

#include "colour_map.h"
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

// Four RGB pictures of `size`, each halved (2x2 mean), tiled 2x2.
std::vector<std::uint8_t> overview(Size size, const std::vector<std::uint8_t>* tiles[4], Size& out) {
  const std::uint32_t tw = size.width / 2, th = size.height / 2;
  out = {2 * tw, 2 * th};
  std::vector<std::uint8_t> rgb(out.pixels() * 3);
  for (int t = 0; t < 4; ++t) {
    const std::uint32_t ox = (t % 2) * tw, oy = (t / 2) * th;
    for (std::uint32_t y = 0; y < th; ++y) {
      for (std::uint32_t x = 0; x < tw; ++x) {
        for (int c = 0; c < 3; ++c) {
          const auto at = [&](std::uint32_t sx, std::uint32_t sy) {
            return unsigned{(*tiles[t])[(std::size_t{sy} * size.width + sx) * 3 + c]};
          };
          const unsigned sum = at(2 * x, 2 * y) + at(2 * x + 1, 2 * y) + at(2 * x, 2 * y + 1) +
                               at(2 * x + 1, 2 * y + 1);
          rgb[(std::size_t{oy + y} * out.width + ox + x) * 3 + c] = static_cast<std::uint8_t>((sum + 2) / 4);
        }
      }
    }
  }
  return rgb;
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
  const auto truth = colourise(f.truth_m, 0, m.range_m);
  const auto single = colourise(f.single_depth_m, 0, m.wrap0());
  const auto amplitude = amplitude_to_grey(f.amplitude);
  const auto dual = colourise(dual_m, 0, m.range_m);
  const auto error = error_map(f, m.wrap1());
  write_png_rgb8(p.temp_paths[0], f.size, truth);
  write_png_rgb8(p.temp_paths[1], f.size, single);
  write_png_grey8(p.temp_paths[2], f.size, amplitude);
  write_png_rgb8(p.temp_paths[3], f.size, dual);
  write_png_rgb8(p.temp_paths[4], f.size, error);
  const auto amplitude_rgb = grey_to_rgb(amplitude);
  const std::vector<std::uint8_t>* tiles[4] = {&single, &dual, &amplitude_rgb, &error};
  Size overview_size;
  const auto all = overview(f.size, tiles, overview_size);
  write_png_rgb8(p.temp_paths[5], overview_size, all);
}

}  // namespace pxcli
