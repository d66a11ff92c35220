#include "colour_demo.h"

#include <pxkit.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "colour_rotate.h"
#include "image_writers.h"
#include "stage_timer.h"

namespace pxcli {
namespace {

constexpr double kAngle = 30.0;
const char* const kNames[] = {"colour_chart.png", "colour_grey.png", "colour_grey_half.png",
                              "colour_rotated_30deg.png"};

// Patches of saturated hues over a grey ramp, and a smooth hue band at the bottom.
std::vector<std::uint8_t> colour_chart(Size size) {
  const std::uint32_t w = size.width, h = size.height;
  std::vector<std::uint8_t> rgb(size.pixels() * 3);
  const auto hue = [](double t, std::uint8_t* p) {
    for (int c = 0; c < 3; ++c) {
      const double v = 0.5 + 0.5 * std::cos(2 * 3.14159265358979 * (t - c / 3.0));
      p[c] = static_cast<std::uint8_t>(std::lround(255 * v));
    }
  };
  for (std::uint32_t y = 0; y < h; ++y) {
    for (std::uint32_t x = 0; x < w; ++x) {
      std::uint8_t* p = &rgb[(std::size_t{y} * w + x) * 3];
      const std::uint32_t col = x * 6 / w, row = y * 5 / h;
      if (row == 4) {
        hue(static_cast<double>(x) / w, p);
      } else if (row == 3) {
        const auto v = static_cast<std::uint8_t>(col * 51);
        p[0] = p[1] = p[2] = v;
      } else {
        hue((col + 6.0 * row / 3.0 + 0.5 * row) / 6.0, p);
        const double shade = 1.0 - 0.25 * row;
        for (int c = 0; c < 3; ++c) p[c] = static_cast<std::uint8_t>(p[c] * shade);
      }
    }
  }
  return rgb;
}

void print_row(const char* stage, double ms, Size size, const std::string& note) {
  std::printf("%-38s %9.3f %9.1f   %s\n", stage, ms, static_cast<double>(size.pixels()) / (ms * 1e3),
              note.c_str());
}

std::vector<std::uint8_t> to_grey(std::vector<std::uint8_t>& rgb, Size in, Size out, double* ms) {
  std::vector<std::uint8_t> grey(out.pixels());
  scale_color_conversion_ctx ctx{};
  if (setup_scale_color_conversion(&ctx, in.width, in.height, out.width, out.height, PXKIT_FORMAT_RGB24,
                                   PXKIT_FORMAT_GREY) != 0) {
    throw std::runtime_error("colour conversion setup failed");
  }
  img_planes src{}, dst{};
  src.plane[0] = rgb.data();
  src.stride[0] = in.width * 3;
  dst.plane[0] = grey.data();
  dst.stride[0] = out.width;
  *ms = median_ms([&] { do_scale_color_conversion(&ctx, &src, &dst); });
  destroy_scale_color_conversion(&ctx);
  return grey;
}

}  // namespace

ColourPanel stage_colour_panel(StagedOutputs& outputs, const std::string& dir) {
  ColourPanel panel;
  for (const char* name : kNames) {
    panel.names.emplace_back(name);
    panel.temp_paths.push_back(outputs.stage(dir + "/" + name));
  }
  return panel;
}

void run_colour_panel(const ColourPanel& panel, Size size) {
  std::vector<std::uint8_t> chart = colour_chart(size);
  double grey_ms = 0, half_ms = 0;
  const std::vector<std::uint8_t> grey = to_grey(chart, size, size, &grey_ms);
  print_row("colour chart RGB24 -> grey", grey_ms, size, "luma (4899 R + 9618 G + 1868 B) >> 14");
  const Size half{std::max(1u, size.width / 2), std::max(1u, size.height / 2)};
  const std::vector<std::uint8_t> small = to_grey(chart, size, half, &half_ms);
  print_row("colour chart RGB24 -> grey, half size", half_ms, half,
            "nearest neighbour, " + to_string(size) + " -> " + to_string(half));
  std::vector<std::uint8_t> rotated;
  const double rotate_ms = median_ms([&] { rotated = rotate_grey(grey, size, kAngle, -1); });
  print_row("grey rotated 30 deg (bicubic lines)", rotate_ms, size,
            std::to_string(size.height) + " scanline_bicubic_f32 calls, a = -1");
  write_png_rgb8(panel.temp_paths[0], size, chart);
  write_png_grey8(panel.temp_paths[1], size, grey);
  write_png_grey8(panel.temp_paths[2], half, small);
  write_png_grey8(panel.temp_paths[3], size, rotated);
}

}  // namespace pxcli
