// pxkit demo: decode a synthetic room with the library and show how well it did.
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "accuracy.h"
#include "cli_error.h"
#include "colour_demo.h"
#include "commands.h"
#include "decoders.h"
#include "demo_pictures.h"
#include "demo_samples.h"
#include "edges_demo.h"
#include "demo_scaling.h"
#include "demo_warp.h"
#include "scene.h"
#include "demo_yuv_panel.h"
#include "stage_timer.h"

namespace pxcli {
namespace {

struct DemoArgs {
  std::string out_dir = "demo-out";
  Size size{640, 480};
  double noise = 1.0;
  bool verbose = false;
};

void print_row(const char* stage, double ms, Size size, const std::string& accuracy) {
  std::printf("%-38s %9.3f %9.1f   %s\n", stage, ms, static_cast<double>(size.pixels()) / (ms * 1e3),
              accuracy.c_str());
}

std::string format(const char* fmt, double a, double b = 0, double c = 0) {
  char text[160];
  std::snprintf(text, sizeof text, fmt, a, b, c);
  return text;
}

std::vector<std::int16_t> as_signed(const std::vector<std::uint16_t>& plane) {
  // Every synthetic sample is below 32768, so the value carries over unchanged.
  return std::vector<std::int16_t>(plane.begin(), plane.end());
}

// Memory a demo frame needs: about 75 bytes per pixel were measured for the
// scene, the decoded planes and the pictures; the margin covers the panels'
// resized copies and allocator slack.
constexpr std::uint64_t kDemoBytesPerPixel = 160;
constexpr std::uint64_t kDemoBaseBytes = std::uint64_t{64} << 20;

// What this process may use: the address-space limit if one is set, and the
// memory the system has available now.
std::uint64_t usable_memory() {
  std::uint64_t limit = UINT64_MAX;
  struct rlimit rl {};
  if (getrlimit(RLIMIT_AS, &rl) == 0 && rl.rlim_cur != RLIM_INFINITY) limit = rl.rlim_cur;
  if (std::FILE* f = std::fopen("/proc/meminfo", "r")) {
    char line[256];
    unsigned long long kib = 0;
    while (std::fgets(line, sizeof line, f)) {
      if (std::sscanf(line, "MemAvailable: %llu kB", &kib) == 1) {
        limit = std::min<std::uint64_t>(limit, std::uint64_t{kib} * 1024);
        break;
      }
    }
    std::fclose(f);
  }
  return limit;
}

// Refuses, before anything is written, a size whose frames would not fit.
void check_demo_memory(Size size) {
  const std::uint64_t need = kDemoBaseBytes + size.pixels() * kDemoBytesPerPixel;
  const std::uint64_t have = usable_memory();
  if (need <= have) return;
  const std::uint64_t max_pixels = have > kDemoBaseBytes ? (have - kDemoBaseBytes) / kDemoBytesPerPixel : 0;
  const auto side = static_cast<std::uint64_t>(std::sqrt(static_cast<double>(max_pixels)));
  throw CliError("--size " + to_string(size) + " needs about " + std::to_string(need >> 20) + " MiB, more than the " +
                 std::to_string(have >> 20) + " MiB this process may use; the largest square size here is about " +
                 std::to_string(side) + "x" + std::to_string(side));
}

// The data-code panel's rows, in the same table.
// A row without pixels (a solve) shows no pixel rate.
void print_panel_row(const char* stage, double ms, std::uint64_t pixels, const std::string& accuracy) {
  if (pixels == 0) {
    std::printf("%-38s %9.3f %9s   %s\n", stage, ms, "-", accuracy.c_str());
  } else {
    print_row(stage, ms, {static_cast<std::uint32_t>(pixels), 1}, accuracy);
  }
}

}  // namespace

int run_demo(int argc, const char* const* argv) {
  DemoArgs args;
  std::string size_text = "640x480";
  CLI::App app("Synthesises a ToF scene with known ground truth (a room corner, a ramp, a sphere and\n"
               "a staircase running past the first wrap), decodes it with libpxkit (single frequency:\n"
               "f32 and fixed16 depth, u16 amplitude; dual frequency m0 = 3, m1 = 2), writes PNG\n"
               "pictures and prints speed and accuracy per stage. Then scales a 1920x1080 NV12\n"
               "colour chart to 1280x720 I420 (bilinear and area, whole frame and banded).",
               "pxkit demo");
  app.add_option("--out", args.out_dir, "output folder (created if missing)")->capture_default_str();
  app.add_option("--size", size_text, "frame size WIDTHxHEIGHT, at least 8x8")->capture_default_str();
  app.add_option("--noise", args.noise, "shot and read noise scale; 0 = noise-free")->capture_default_str();
  app.add_flag("--verbose", args.verbose, "show the library's setup reports");
  if (!parse_command(app, argc, argv)) return 0;
  args.size = parse_size(size_text);
  if (args.size.width < 8 || args.size.height < 8) throw CliError("--size must be at least 8x8");
  if (!(args.noise >= 0) || !std::isfinite(args.noise)) throw CliError("--noise must be a finite number, 0 or more");
  if (args.out_dir.empty()) throw CliError("--out must name a folder");
  check_demo_memory(args.size);

  std::error_code ec;
  std::filesystem::create_directories(args.out_dir, ec);
  if (ec) throw CliError("cannot create " + args.out_dir + ": " + ec.message());
  const Modulation mod;
  StagedOutputs outputs;
  const DemoPictures pictures = stage_demo_pictures(outputs, args.out_dir, mod);
  const DemoSamples samples = stage_demo_samples(outputs, args.out_dir);
  const YuvPanel yuv_panel = stage_yuv_panel(outputs, args.out_dir);
  const EdgePanel edge_panel = stage_edge_panel(outputs, args.out_dir, mod);
  const ColourPanel colour_panel = stage_colour_panel(outputs, args.out_dir);
  const ScalingPanel scaling = stage_scaling_pictures(outputs, args.out_dir, args.size, mod);
  const WarpPictures warp_pictures = stage_warp_pictures(outputs, args.out_dir);

  const Size size = args.size;
  const std::size_t n = size.pixels();
  std::printf("pxkit demo: %ux%u room, f0 %.0f MHz (wraps every %.2f m), f1 %.0f MHz (%.2f m), "
              "unambiguous range %.2f m, noise x%g\n",
              size.width, size.height, mod.f0() / 1e6, mod.wrap0(), mod.f1() / 1e6, mod.wrap1(),
              mod.range_m, args.noise);
  std::printf("%-38s %9s %9s   %s\n", "stage", "ms/frame", "Mpix/s", "accuracy");

  ToFScene scene;
  const double synth_ms = median_ms([&] { scene = synthesise_scene({size, args.noise, 1}, mod); }, 1);
  print_row("synthesise scene (8 planes)", synth_ms, size, "ground truth");

  // Single frequency on the frequency-0 samples.
  const auto s0 = as_signed(scene.planes[0]), s90 = as_signed(scene.planes[1]),
             s180 = as_signed(scene.planes[2]), s270 = as_signed(scene.planes[3]);
  const SinglePlanes single_in{s0.data(), s90.data(), s180.data(), s270.data()};
  const auto depth_scale = static_cast<float>(kSpeedOfLight / (4 * kPi * mod.f0()));  // metres per radian
  DemoFrames frames{size, scene.truth_m, std::vector<float>(n), std::vector<std::uint16_t>(n), {}};

  tof_option float_opt{};
  float_opt.depth_out_use_float = 1;
  float_opt.amplitude_out_use_16bit = 1;
  const TofContext float_ctx = make_tof_context(float_opt, args.verbose);
  const double single_ms = median_ms([&] {
    decode_single_float(float_ctx.get(), size, single_in, frames.single_depth_m.data(),
                        frames.amplitude.data(), depth_scale, 0.0f);
  });
  const SingleAccuracy single = single_accuracy(frames.single_depth_m, scene.truth_m, mod.wrap0());
  const double inside = 100.0 * static_cast<double>(single.pixels) / static_cast<double>(n);
  print_row("single-frequency f32 depth + amp", single_ms, size,
            format("mean |error| %.2f mm inside %.2f m (%.0f%% of pixels)", single.mean_abs_error_m * 1e3,
                   mod.wrap0(), inside));

  tof_option fixed_opt = float_opt;
  fixed_opt.depth_out_use_float = 0;  // 6.10 fixed point: metres x 1024
  const TofContext fixed_ctx = make_tof_context(fixed_opt, args.verbose);
  std::vector<std::int16_t> fixed(n);
  std::vector<std::uint16_t> fixed_amplitude(n);
  const double fixed_ms = median_ms([&] {
    decode_single_fixed16(fixed_ctx.get(), size, single_in, fixed.data(), fixed_amplitude.data(),
                          depth_scale, 0.0f);
  });
  std::vector<float> fixed_m(n);
  for (std::size_t i = 0; i < n; ++i) fixed_m[i] = static_cast<float>(fixed[i]) / 1024.0f;
  const SingleAccuracy fixed_acc = single_accuracy(fixed_m, scene.truth_m, mod.wrap0());
  print_row("single-frequency fixed16 depth + amp", fixed_ms, size,
            format("mean |error| %.2f mm inside %.2f m", fixed_acc.mean_abs_error_m * 1e3, mod.wrap0()));

  tof_dual_option dual_opt{};
  dual_opt.depth_out_use_float = 1;
  dual_opt.amplitude_out_use_16bit = 1;
  dual_opt.m0 = static_cast<int32_t>(mod.m0);
  dual_opt.m1 = static_cast<int32_t>(mod.m1);
  const DualContext dual_ctx = make_dual_context(dual_opt, args.verbose);
  frames.dual_depth_wraps.resize(n);
  std::vector<std::uint16_t> dual_amplitude(n);
  std::array<const std::uint16_t*, 8> dual_in{};
  for (int k = 0; k < 8; ++k) dual_in[k] = scene.planes[k].data();
  const double dual_ms = median_ms([&] {
    decode_dual(dual_ctx.get(), size, dual_in, frames.dual_depth_wraps.data(), dual_amplitude.data(), 0, 0);
  });
  const DualAccuracy dual = dual_accuracy(frames.dual_depth_wraps, scene.truth_m, mod.wrap1());
  char wraps[200];
  // Never shows 100% unless every pixel is right.
  const double share = std::floor(1e5 * static_cast<double>(dual.correct_wraps) /
                                  static_cast<double>(dual.pixels)) / 1e3;
  std::snprintf(wraps, sizeof wraps, "mean |error| %.2f mm; wrap count correct %.3f%% (%llu/%llu)",
                dual.mean_abs_error_m * 1e3, share,
                static_cast<unsigned long long>(dual.correct_wraps), static_cast<unsigned long long>(dual.pixels));
  print_row("dual-frequency f32 depth + amp", dual_ms, size, wraps);

  run_yuv_panel(yuv_panel);
  // Edge panel: flying pixels on the depth edges, before and after s1.
  const EdgePanelFigures edges = run_edge_panel(edge_panel, scene, mod, args.verbose);
  print_row("s1 edge suppression f32, 2 threads", edges.ms, size, edges.summary);
  // Colour panel: chart to grey (equal and half size), bicubic rotation.
  run_colour_panel(colour_panel, size);
  // Scaling panel: the dual-frequency depth in millimetres, resized down and up.
  for (const ScalingTiming& row : run_scaling_panel(scaling, size, frames.dual_depth_wraps, mod)) {
    print_row(row.stage.c_str(), row.ms, row.output, "u16 mm, pictures scaled_depth_*.png");
  }
  // Data code seen at an angle, cut out upright.
  run_warp_panel(warp_pictures, args.noise, &print_panel_row);

  write_demo_pictures(pictures, frames, mod);
  write_demo_samples(samples, scene);
  outputs.commit();
  std::printf("pictures in %s/:", args.out_dir.c_str());
  for (const std::string& name : pictures.names) std::printf(" %s", name.c_str());
  for (const std::string& name : yuv_panel.names) std::printf(" %s", name.c_str());
  std::printf(" %s", edge_panel.name.c_str());
  for (const std::string& name : colour_panel.names) std::printf(" %s", name.c_str());
  for (const std::string& name : scaling.names) std::printf(" %s", name.c_str());
  for (const std::string& name : warp_pictures.names) std::printf(" %s", name.c_str());
  std::printf("\nsample planes in %s/ (16-bit PNG, frequency 0 then 1); decode them in metres with:\n",
              samples.dir.c_str());
  for (const std::string& command : demo_decode_commands(samples, args.out_dir, mod)) {
    std::printf("  %s\n", command.c_str());
  }
  return 0;
}

}  // namespace pxcli
