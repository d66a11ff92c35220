// pxkit edges: cut the pixels on steep depth edges (flying pixels) out of a
// depth map with the library's Scharr edge suppression (s1).
#include <pxkit.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "cli_error.h"
#include "commands.h"
#include "edge_inputs.h"
#include "image_writers.h"
#include "stage_timer.h"
#include "staged_output.h"

namespace pxcli {
namespace {

struct EdgesArgs {
  std::string in, out, preview;
  double threshold = 0;
  double relative = -1;  // epsilon; negative = plain test
  std::uint32_t threads = 2;
};

bool ends_with(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

// "out/map.tiff" -> "out/map_preview.png".
std::string default_preview(const std::string& out) {
  const std::size_t slash = out.find_last_of('/');
  const std::size_t dot = out.find_last_of('.');
  const std::string stem = dot != std::string::npos && (slash == std::string::npos || dot > slash) ? out.substr(0, dot) : out;
  return stem + "_preview.png";
}

// Grey depth (near bright, 0 black) with the pixels the suppression removed in red.
template <class T>
std::vector<std::uint8_t> preview(const std::vector<T>& in, const std::vector<T>& out, Size size) {
  double lo = std::numeric_limits<double>::infinity(), hi = -lo;
  for (const T v : in) {
    const double d = static_cast<double>(v);
    if (std::isfinite(d) && d > 0) lo = std::min(lo, d), hi = std::max(hi, d);
  }
  const double span = hi > lo ? hi - lo : 1.0;
  std::vector<std::uint8_t> rgb(size.pixels() * 3);
  for (std::size_t i = 0; i < in.size(); ++i) {
    const std::size_t x = i % size.width, y = i / size.width;
    const bool interior = x > 0 && y > 0 && x + 1 < size.width && y + 1 < size.height;
    const double d = static_cast<double>(out[i]);
    std::uint8_t* p = &rgb[3 * i];
    if (interior && out[i] == T{0} && in[i] != T{0}) {
      p[0] = 230, p[1] = 30, p[2] = 30;
    } else if (std::isfinite(d) && d > 0) {
      const auto g = static_cast<std::uint8_t>(std::lround(40 + 215 * (1 - (d - lo) / span)));
      p[0] = p[1] = p[2] = g;
    } else {
      p[0] = p[1] = p[2] = 0;
    }
  }
  return rgb;
}

struct Result {
  std::uint64_t removed = 0, interior = 0;
  double ms = 0;
};

template <class T>
Result suppress(void* ctx, const EdgesArgs& a, const std::vector<T>& in, std::vector<T>& out, Size size) {
  constexpr std::uint32_t type = std::is_same_v<T, float> ? SPARSE_SCHARR_S1_F32 : SPARSE_SCHARR_S1_U16;
  const auto threshold = static_cast<float>(a.threshold);
  Result r;
  r.ms = median_ms([&] {
    if (a.relative >= 0) {
      do_sparse_scharr_s1_v2(ctx, in.data(), out.data(), 1, type, threshold, static_cast<float>(a.relative));
    } else {
      do_sparse_scharr_s1(ctx, in.data(), out.data(), type, threshold);
    }
  }, 5, 100);
  for (std::uint32_t y = 1; y + 1 < size.height; ++y) {
    for (std::uint32_t x = 1; x + 1 < size.width; ++x) {
      const std::size_t i = std::size_t{y} * size.width + x;
      ++r.interior;
      if (out[i] == T{0} && in[i] != T{0}) ++r.removed;
    }
  }
  return r;
}

}  // namespace

int run_edges(int argc, const char* const* argv) {
  EdgesArgs a;
  CLI::App app("Removes the pixels on steep edges of a depth map (flying pixels) with libpxkit's\n"
               "Scharr edge suppression: a pixel becomes 0 when |gx| + |gy| of the full-size Scharr\n"
               "gradient exceeds the threshold (with --relative: (|gx| + |gy|) / (depth + EPS)); the\n"
               "one-pixel border becomes 0. IN is a 16-bit PNG/PGM (OUT: .png) or a 32-bit float\n"
               "TIFF/PFM (OUT: .tiff, .tif or .pfm). Also writes a preview PNG, removed pixels red.",
               "pxkit edges");
  app.add_option("IN", a.in, "depth map: 16-bit PNG or PGM, or 32-bit float TIFF or PFM")->required();
  app.add_option("OUT", a.out, "cleaned depth map, same sample type as IN")->required();
  app.add_option("--threshold", a.threshold, "largest |gx| + |gy| kept (u16: truncated to an integer; "
                                             "gradients are 32x the per-pixel step)")->required();
  app.add_option("--relative", a.relative, "float maps: test (|gx| + |gy|) / (depth + EPS) instead; "
                                           "EPS 0 means 1e-5 (needs --threads 2 or more)")
      ->check(CLI::NonNegativeNumber);
  app.add_option("--threads", a.threads, "worker threads, 1 = the calling thread")->capture_default_str()
      ->check(CLI::Range(1, 32));
  app.add_option("--preview", a.preview, "preview picture (default: OUT's name + _preview.png)");
  if (!parse_command(app, argc, argv)) return 0;
  if (!std::isfinite(a.threshold)) throw CliError("--threshold must be a finite number");
  const bool relative = a.relative >= 0;
  if (relative && a.threads < 2) {
    throw CliError("--relative needs --threads 2 or more (the single-threaded path has only the plain test)");
  }

  DepthMap map = read_depth_map(a.in);
  if (relative && !map.is_float) throw CliError("--relative needs a float depth map (TIFF or PFM), " + a.in + " is 16-bit");
  const bool pfm = ends_with(a.out, ".pfm");
  if (map.is_float && !(pfm || ends_with(a.out, ".tiff") || ends_with(a.out, ".tif"))) {
    throw CliError("OUT must end in .tiff, .tif or .pfm for a float depth map");
  }
  if (!map.is_float && !ends_with(a.out, ".png")) throw CliError("OUT must end in .png for a 16-bit depth map");
  if (a.preview.empty()) a.preview = default_preview(a.out);

  StagedOutputs outputs;
  const std::string out_temp = outputs.stage(a.out);
  const std::string preview_temp = outputs.stage(a.preview);
  void* ctx = init_sparse_scharr_s1_ctx(a.threads, map.size.width, map.size.height);
  if (ctx == nullptr) throw LibraryError("init_sparse_scharr_s1_ctx");
  Result r;
  if (map.is_float) {
    std::vector<float> out(map.f32.size());
    r = suppress(ctx, a, map.f32, out, map.size);
    if (pfm) {
      write_pfm(out_temp, map.size, out);
    } else {
      write_tiff_float(out_temp, map.size, out);
    }
    write_png_rgb8(preview_temp, map.size, preview(map.f32, out, map.size));
  } else {
    std::vector<std::uint16_t> out(map.u16.size());
    r = suppress(ctx, a, map.u16, out, map.size);
    write_png_grey16(out_temp, map.size, out);
    write_png_rgb8(preview_temp, map.size, preview(map.u16, out, map.size));
  }
  // The context's workers stay alive until the process ends (the library's design).
  deinit_sparse_scharr_s1_ctx(ctx);
  outputs.commit();
  std::printf("%ux%u %s, %s test, threshold %g, %u thread%s: removed %llu of %llu interior pixels "
              "(%.2f%%) in %.3f ms; wrote %s, %s\n",
              map.size.width, map.size.height, map.is_float ? "f32" : "u16", relative ? "relative" : "plain",
              a.threshold, a.threads, a.threads == 1 ? "" : "s", static_cast<unsigned long long>(r.removed),
              static_cast<unsigned long long>(r.interior),
              r.interior ? 100.0 * static_cast<double>(r.removed) / static_cast<double>(r.interior) : 0.0, r.ms,
              a.out.c_str(), a.preview.c_str());
  return 0;
}

}  // namespace pxcli
