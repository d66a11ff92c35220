#include "edges_demo.h"

#include <pxkit.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

#include "cli_error.h"
#include "colour_map.h"
#include "decoders.h"
#include "image_writers.h"
#include "stage_timer.h"

namespace pxcli {
namespace {

constexpr double kEdgeMetres = 0.10;   // a depth step this large between neighbours is an edge
constexpr float kRelativeLimit = 1.2f;  // (|gx| + |gy|) / depth above this is cut
constexpr std::uint32_t kThreads = 2;
constexpr std::uint32_t kGap = 8;  // pixels between the two halves of the picture

std::string panel_name(const Modulation& m) {
  char text[48];
  std::snprintf(text, sizeof text, "edges_s1_0-%.2fm.png", m.range_m);
  return text;
}

// A pixel whose right or lower neighbour lies across an edge sees both
// surfaces: it gets the mean of the two pixels' samples. Returns the mask.
std::vector<bool> mix_across_edges(const ToFScene& scene, std::array<std::vector<std::uint16_t>, 8>& planes) {
  const Size s = scene.size;
  std::vector<bool> mixed(s.pixels(), false);
  for (std::uint32_t y = 0; y + 1 < s.height; ++y) {
    for (std::uint32_t x = 0; x + 1 < s.width; ++x) {
      const std::size_t i = std::size_t{y} * s.width + x;
      for (const std::size_t j : {i + 1, i + s.width}) {
        if (mixed[i] || std::fabs(scene.truth_m[i] - scene.truth_m[j]) < kEdgeMetres) continue;
        mixed[i] = true;
        for (int k = 0; k < 8; ++k) {
          planes[k][i] = static_cast<std::uint16_t>((scene.planes[k][i] + scene.planes[k][j] + 1) / 2);
        }
      }
    }
  }
  return mixed;
}

}  // namespace

EdgePanel stage_edge_panel(StagedOutputs& outputs, const std::string& dir, const Modulation& m) {
  const std::string name = panel_name(m);
  return {name, outputs.stage(dir + "/" + name)};
}

EdgePanelFigures run_edge_panel(const EdgePanel& panel, const ToFScene& scene, const Modulation& m,
                                bool verbose) {
  const Size size = scene.size;
  const std::size_t n = size.pixels();
  std::array<std::vector<std::uint16_t>, 8> planes = scene.planes;
  const std::vector<bool> mixed = mix_across_edges(scene, planes);

  tof_dual_option opt{};
  opt.depth_out_use_float = 1;
  opt.amplitude_out_use_16bit = 1;
  opt.m0 = static_cast<int32_t>(m.m0);
  opt.m1 = static_cast<int32_t>(m.m1);
  const DualContext dual = make_dual_context(opt, verbose);
  std::array<const std::uint16_t*, 8> in{};
  for (int k = 0; k < 8; ++k) in[k] = planes[k].data();
  std::vector<float> depth(n);
  std::vector<std::uint16_t> amplitude(n);
  decode_dual(dual.get(), size, in, depth.data(), amplitude.data(), 0, 0);
  for (float& d : depth) d *= static_cast<float>(m.wrap1());  // wraps -> metres

  void* ctx = init_sparse_scharr_s1_ctx(kThreads, size.width, size.height);
  if (ctx == nullptr) throw LibraryError("init_sparse_scharr_s1_ctx");
  std::vector<float> cleaned(n);
  EdgePanelFigures f;
  f.ms = median_ms([&] {
    do_sparse_scharr_s1_v2(ctx, depth.data(), cleaned.data(), 1, SPARSE_SCHARR_S1_F32, kRelativeLimit, 0.0f);
  });

  // Its workers stay until the process ends (the library's design).
  deinit_sparse_scharr_s1_ctx(ctx);

  std::size_t mixed_total = 0, mixed_cut = 0, other_total = 0, other_cut = 0;
  for (std::uint32_t y = 1; y + 1 < size.height; ++y) {
    for (std::uint32_t x = 1; x + 1 < size.width; ++x) {
      const std::size_t i = std::size_t{y} * size.width + x;
      const bool cut = cleaned[i] == 0.0f && depth[i] != 0.0f;
      (mixed[i] ? mixed_total : other_total) += 1;
      (mixed[i] ? mixed_cut : other_cut) += cut;
    }
  }
  char text[200];
  std::snprintf(text, sizeof text, "cut %.1f%% of %zu flying pixels, %.1f%% of the rest (relative %.1f)",
                mixed_total ? 100.0 * static_cast<double>(mixed_cut) / static_cast<double>(mixed_total) : 0.0,
                mixed_total,
                other_total ? 100.0 * static_cast<double>(other_cut) / static_cast<double>(other_total) : 0.0,
                static_cast<double>(kRelativeLimit));
  f.summary = text;

  // Before | after, turbo colours over the room's range; cut pixels black.
  const std::vector<std::uint8_t> before = colourise(depth, 0.0, m.range_m);
  std::vector<std::uint8_t> after = colourise(cleaned, 0.0, m.range_m);
  for (std::size_t i = 0; i < n; ++i)
    if (cleaned[i] == 0.0f) after[3 * i] = after[3 * i + 1] = after[3 * i + 2] = 0;
  const Size picture{2 * size.width + kGap, size.height};
  std::vector<std::uint8_t> rgb(picture.pixels() * 3, 255);
  for (std::uint32_t y = 0; y < size.height; ++y) {
    const std::size_t row = std::size_t{y} * size.width * 3;
    const std::size_t out = std::size_t{y} * picture.width * 3;
    std::copy_n(&before[row], size.width * 3, &rgb[out]);
    std::copy_n(&after[row], size.width * 3, &rgb[out + (size.width + kGap) * 3]);
  }
  write_png_rgb8(panel.temp, picture, rgb);
  return f;
}

}  // namespace pxcli
