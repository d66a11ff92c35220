#include "demo_warp.h"

#include <pxkit.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>

#include "cli_error.h"
#include "homography.h"
#include "image_writers.h"
#include "stage_timer.h"

namespace pxcli {
namespace {

constexpr Size kScene{640, 480};
constexpr int kModules = 25;          // 21 x 21 data modules inside a 2-module white border
constexpr Size kUpright{200, 200};    // 8 output pixels per module
const Corners kCorners = {{{182, 88}, {468, 132}, {446, 402}, {148, 356}}};

// Module (r, c): black or white; a black ring inside the white border, random inside.
std::vector<bool> make_code() {
  std::vector<bool> black(kModules * kModules);
  std::mt19937 rng(2021);
  for (int r = 0; r < kModules; ++r) {
    for (int c = 0; c < kModules; ++c) {
      const bool border = r < 2 || c < 2 || r >= kModules - 2 || c >= kModules - 2;
      const bool ring = r == 2 || c == 2 || r == kModules - 3 || c == kModules - 3;
      black[r * kModules + c] = !border && (ring || rng() % 2 == 0);
    }
  }
  return black;
}

// Picture -> code map: the inverse of the unit square -> quad map (square to
// quadrilateral in closed form), times the module count.
struct Map {
  double m[9];
  Point operator()(double x, double y) const {
    const double w = m[6] * x + m[7] * y + m[8];
    return {(m[0] * x + m[1] * y + m[2]) / w, (m[3] * x + m[4] * y + m[5]) / w};
  }
};

Map picture_to_code() {
  const Corners& p = kCorners;
  const double dx1 = p[1].x - p[2].x, dx2 = p[3].x - p[2].x, dx3 = p[0].x - p[1].x + p[2].x - p[3].x;
  const double dy1 = p[1].y - p[2].y, dy2 = p[3].y - p[2].y, dy3 = p[0].y - p[1].y + p[2].y - p[3].y;
  const double det = dx1 * dy2 - dx2 * dy1;
  const double g = (dx3 * dy2 - dx2 * dy3) / det, h = (dx1 * dy3 - dx3 * dy1) / det;
  const double f[9] = {p[1].x - p[0].x + g * p[1].x, p[3].x - p[0].x + h * p[3].x, p[0].x,
                       p[1].y - p[0].y + g * p[1].y, p[3].y - p[0].y + h * p[3].y, p[0].y,
                       g, h, 1};
  // Adjugate (the inverse up to scale), then scaled to module units.
  Map inv{{f[4] * f[8] - f[5] * f[7], f[2] * f[7] - f[1] * f[8], f[1] * f[5] - f[2] * f[4],
           f[5] * f[6] - f[3] * f[8], f[0] * f[8] - f[2] * f[6], f[2] * f[3] - f[0] * f[5],
           f[3] * f[7] - f[4] * f[6], f[1] * f[6] - f[0] * f[7], f[0] * f[4] - f[1] * f[3]}};
  for (int k = 0; k < 6; ++k) inv.m[k] *= kModules;
  return inv;
}

// The printed code on a textured, unevenly lit background, 2 x 2 supersampled, plus noise.
std::vector<std::uint8_t> draw_scene(const std::vector<bool>& code, double noise) {
  const Map to_code = picture_to_code();
  std::mt19937 rng(7);
  std::normal_distribution<double> grain(0.0, 6.0 * noise);
  std::vector<std::uint8_t> picture(kScene.pixels());
  for (std::uint32_t y = 0; y < kScene.height; ++y) {
    for (std::uint32_t x = 0; x < kScene.width; ++x) {
      double sum = 0;
      for (int sy = 0; sy < 2; ++sy) {
        for (int sx = 0; sx < 2; ++sx) {
          const double px = x + (sx + 0.5) / 2, py = y + (sy + 0.5) / 2;
          const Point q = to_code(px, py);
          const int c = static_cast<int>(std::floor(q.x)), r = static_cast<int>(std::floor(q.y));
          if (c >= 0 && r >= 0 && c < kModules && r < kModules) {
            sum += code[r * kModules + c] ? 30 : 225;
          } else {
            sum += 110 + 30 * std::sin(px / 23.0) * std::cos(py / 31.0);  // desk texture
          }
        }
      }
      const double light = 0.8 + 0.2 * x / kScene.width;
      picture[y * kScene.width + x] =
          static_cast<std::uint8_t>(std::clamp(std::lround(sum / 4 * light + grain(rng)), 0L, 255L));
    }
  }
  return picture;
}

// Reads every module at its centre in the upright cut-out and counts agreements.
int modules_read(const std::vector<std::uint8_t>& upright, const std::vector<bool>& code) {
  int right = 0;
  const double step = (kUpright.width - 1.0) / kModules;
  for (int r = 0; r < kModules; ++r) {
    for (int c = 0; c < kModules; ++c) {
      const auto x = static_cast<std::size_t>(std::lround((c + 0.5) * step));
      const auto y = static_cast<std::size_t>(std::lround((r + 0.5) * step));
      right += (upright[y * kUpright.width + x] < 128) == code[r * kModules + c];
    }
  }
  return right;
}

}  // namespace

WarpPictures stage_warp_pictures(StagedOutputs& outputs, const std::string& dir) {
  WarpPictures p{{"code_scene.png", "code_upright.png"}, {}};
  for (const std::string& name : p.names) p.temp_paths.push_back(outputs.stage(dir + "/" + name));
  return p;
}

void run_warp_panel(const WarpPictures& pictures, double noise,
                    void (*print_row)(const char*, double, std::uint64_t, const std::string&)) {
  const std::vector<bool> code = make_code();
  std::vector<std::uint8_t> scene;
  const double draw_ms = median_ms([&] { scene = draw_scene(code, noise); }, 1);
  print_row("draw code in perspective (640x480)", draw_ms, kScene.pixels(), "ground truth");

  std::array<float, 9> m{};
  const double solve_ms = median_ms([&] { m = homography_to_corners(kCorners, kUpright); });
  char text[120];
  std::snprintf(text, sizeof text, "%.1f us; den from %.3f to %.3f over the output", solve_ms * 1e3,
                m[6] + m[7] + m[8], m[6] * kUpright.width + m[7] * kUpright.height + m[8]);
  print_row("corner map: solve_f32 (8x8)", solve_ms, 0, text);

  std::vector<std::uint8_t> upright(kUpright.pixels());
  const datacode_image src{kScene.width, kScene.height, kScene.width, scene.data()};
  const datacode_image dst{kUpright.width, kUpright.height, kUpright.width, upright.data()};
  std::int32_t result = 0;
  const double crop_ms = median_ms([&] { result = datacode_bili_inter_crop_u8(&src, &dst, m.data(), 0, 0); });
  if (result != 0) throw LibraryError("datacode_bili_inter_crop_u8");
  const int right = modules_read(upright, code);
  std::snprintf(text, sizeof text, "modules read correctly %d/%d", right, kModules * kModules);
  print_row("crop code upright (200x200)", crop_ms, kUpright.pixels(), text);

  write_png_grey8(pictures.temp_paths[0], kScene, scene);
  write_png_grey8(pictures.temp_paths[1], kUpright, upright);
}

}  // namespace pxcli
