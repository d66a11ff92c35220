// Synthetic frames through `pxkit tof` give exactly what the library gives when
// called directly with the same options, for every input format and both
// depth file formats.
#include <gtest/gtest.h>
#include <pxkit.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "image_writers.h"
#include "sample_files.h"
#include "scene.h"
#include "tool_runner.h"

namespace clitest {
namespace {

// A room frame (noise on) at 50x30: width not a multiple of 32 exercises the
// padded amplitude rows.
const pxcli::ToFScene& scene() {
  static const pxcli::ToFScene s = pxcli::synthesise_scene({{50, 30}, 1.0, 7}, pxcli::Modulation{});
  return s;
}

enum class Format { kRaw, kPgm, kPng };

// The scene's first `count` sample planes as the files hold them: interleaved,
// each sample becomes a pair (a, b) with a - b equal to it. Writes them as
// p0.raw, p1.raw ... (or .pgm, .png) and returns their names.
std::vector<std::vector<std::uint16_t>> write_inputs(const ScratchDir& dir, int count, Format format,
                                                     bool interleave, std::vector<std::string>& names) {
  const pxcli::Size grid{scene().size.width * (interleave ? 2 : 1), scene().size.height};
  std::mt19937 rng(11);
  std::vector<std::vector<std::uint16_t>> planes(count);
  for (int k = 0; k < count; ++k) {
    for (std::uint16_t v : scene().planes[k]) {
      const auto b = static_cast<std::uint16_t>(rng() % 3000);
      if (interleave) planes[k].insert(planes[k].end(), {static_cast<std::uint16_t>(v + b), b});
      else planes[k].push_back(v);
    }
    const char* extension = format == Format::kRaw ? ".raw" : format == Format::kPgm ? ".pgm" : ".png";
    names.push_back("p" + std::to_string(k) + extension);
    if (format == Format::kRaw) write_raw(dir / names.back(), planes[k]);
    if (format == Format::kPgm) write_pgm16(dir / names.back(), grid.width, grid.height, planes[k]);
    if (format == Format::kPng) pxcli::write_png_grey16(dir / names.back(), grid, planes[k]);
  }
  return planes;
}

struct SingleCase {
  const char* name;
  Format format;
  bool interleave, reverse, fixed16, amplitude_u8, align32, pfm;
  int right_shift, cut, mantissa;
  double scale, offset;
};

const SingleCase kSingleCases[] = {
    // name, format, interleave, reverse, fixed16, amp u8, align32, pfm, right, cut, mantissa, scale, offset
    {"raw metres", Format::kRaw, false, false, false, false, false, false, 0, 0, 0, 0.397887, 0},
    {"pgm interleaved reversed offset", Format::kPgm, true, true, false, false, false, true, 0, 0, 0, 0.5, 0.25},
    {"png fixed16 mantissa 12 shifted aligned", Format::kPng, false, false, true, false, true, false, 1, 6, 12,
     0.397887, 0},
    {"raw interleaved fixed16 default mantissa u8", Format::kRaw, true, false, true, true, false, true, 1, 1, 0,
     1.0, 0},
};

TEST(CliSingleRoundTrip, ToolMatchesTheLibrary) {
  for (const SingleCase& c : kSingleCases) {
    SCOPED_TRACE(c.name);
    ScratchDir dir;
    const pxcli::Size size = scene().size;
    const std::size_t n = size.pixels();
    std::vector<std::string> files;
    const auto planes = write_inputs(dir, 4, c.format, c.interleave, files);

    std::vector<std::string> args{"tof", "--out", "run", "--scale", std::to_string(c.scale)};
    if (c.format == Format::kRaw) args.insert(args.end(), {"--size", "50x30"});
    if (c.interleave) args.push_back("--interleave");
    if (c.reverse) args.push_back("--reverse-90-270");
    if (c.fixed16) args.push_back("--fixed16");
    if (c.amplitude_u8) args.push_back("--amplitude-u8");
    if (c.align32) args.push_back("--amplitude-align32");
    if (c.pfm) args.insert(args.end(), {"--format", "pfm"});
    if (c.offset != 0) args.insert(args.end(), {"--offset", std::to_string(c.offset)});
    args.insert(args.end(), {"--right-shift-bits", std::to_string(c.right_shift), "--cut-higher-amplitude-bits",
                             std::to_string(c.cut), "--mantissa-bits", std::to_string(c.mantissa)});
    args.insert(args.end(), files.begin(), files.end());
    const ToolRun run = run_tool(args, dir.path());
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(line_count(run.out), 1) << run.out;  // the library's setup report stays off the terminal

    // The same frame straight through the library.
    tof_option opt{};
    opt.enable_substract_interleave = c.interleave;
    opt.right_shift_bits = static_cast<std::uint8_t>(c.right_shift);
    opt.reverse_90_270 = c.reverse;
    opt.cut_higher_amplitude_bits = static_cast<std::uint8_t>(c.cut);
    opt.mantissa_bits = static_cast<std::uint8_t>(c.mantissa);
    opt.depth_out_use_float = !c.fixed16;
    opt.amplitude_out_use_16bit = !c.amplitude_u8;  // rows packed: the tool strips any padding
    testing::internal::CaptureStdout();
    tof_context* ctx = setup_tof_context(&opt);
    testing::internal::GetCapturedStdout();
    ASSERT_NE(ctx, nullptr);
    const auto p = [&](int k) { return reinterpret_cast<const std::int16_t*>(planes[k].data()); };
    std::vector<float> want(n);
    std::vector<std::uint16_t> amp16(n);
    std::vector<std::uint8_t> amp8(n);
    void* amp = c.amplitude_u8 ? static_cast<void*>(amp8.data()) : amp16.data();
    const auto scale = static_cast<float>(std::stod(std::to_string(c.scale)));
    const auto offset = static_cast<float>(std::stod(std::to_string(c.offset)));
    const auto h = static_cast<std::int32_t>(size.height);
    if (c.fixed16) {
      std::vector<std::int16_t> fixed(n);
      ASSERT_EQ(cal_tof_depth_amplitude_fixed16_v3(ctx, size.width, h, p(0), p(1), p(2), p(3), fixed.data(), amp,
                                                   scale, offset), 0);
      const int m = c.mantissa == 0 || c.mantissa > 15 ? 10 : c.mantissa;
      for (std::size_t i = 0; i < n; ++i) want[i] = static_cast<float>(fixed[i]) / static_cast<float>(1 << m);
    } else {
      ASSERT_EQ(cal_tof_depth_amplitude_float_v3(ctx, size.width, h, p(0), p(1), p(2), p(3), want.data(), amp,
                                                 scale, offset), 0);
    }
    destroy_tof_context(ctx);

    const std::string depth_file = c.pfm ? "run_depth.pfm" : "run_depth.tiff";
    EXPECT_TRUE(same_bits(read_floats(dir / depth_file, size.width, size.height), want));
    std::uint32_t w = 0, h8 = 0;
    if (c.amplitude_u8) {
      EXPECT_EQ(read_png_grey8(dir / "run_amplitude.png", w, h8), amp8);
    } else {
      const pxcli::SampleImage amplitude = pxcli::read_sample_image(dir / "run_amplitude.png", nullptr);
      EXPECT_EQ(amplitude.size.width, size.width);
      EXPECT_EQ(amplitude.samples, amp16);
    }
    EXPECT_TRUE(std::filesystem::exists(dir / "run_depth.png"));
  }
}

TEST(CliDualRoundTrip, ToolMatchesTheLibrary) {
  for (const bool interleave : {false, true}) {
    SCOPED_TRACE(interleave ? "interleaved" : "planar");
    ScratchDir dir;
    const pxcli::Size size = scene().size;
    const std::size_t n = size.pixels();
    std::vector<std::string> files;
    const auto planes = write_inputs(dir, 8, Format::kRaw, interleave, files);
    // Metres per wrap of frequency 1 from its frequency (40 MHz), and phase offsets.
    std::vector<std::string> args{"tof", "--dual", "--size", "50x30", "--out", "run", "--freq", "4e7",
                                  "--offset0", "0.125", "--offset1", "-0.25", "--m0", "3", "--m1", "2"};
    if (interleave) args.push_back("--interleave");
    args.insert(args.end(), files.begin(), files.end());
    const ToolRun run = run_tool(args, dir.path());
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(line_count(run.out), 1) << run.out;

    tof_dual_option opt{};
    opt.enable_substract_interleave = interleave;
    opt.depth_out_use_float = 1;
    opt.amplitude_out_use_16bit = 1;
    opt.m0 = 3;
    opt.m1 = 2;
    testing::internal::CaptureStdout();
    tof_dual_context* ctx = setup_tof_dual_context(&opt);
    testing::internal::GetCapturedStdout();
    ASSERT_NE(ctx, nullptr);
    std::vector<float> want(n);
    std::vector<std::uint16_t> amplitude(n);
    const auto& p = planes;
    ASSERT_EQ(itof_dual_dec_float(ctx, size.width, size.height, p[0].data(), p[1].data(), p[2].data(),
                                  p[3].data(), p[4].data(), p[5].data(), p[6].data(), p[7].data(), nullptr,
                                  want.data(), nullptr, nullptr, amplitude.data(), size.width,
                                  1.0f / 6.2831855f, 0.125f, -0.25f), 0);
    destroy_tof_dual_context(ctx);
    const auto metres_per_wrap = static_cast<float>(pxcli::kSpeedOfLight / (2 * 4e7));
    for (float& d : want) d *= metres_per_wrap;
    EXPECT_TRUE(same_bits(read_floats(dir / "run_depth.tiff", size.width, size.height), want));
    EXPECT_EQ(pxcli::read_sample_image(dir / "run_amplitude.png", nullptr).samples, amplitude);
    // The dual default colour range is the whole unambiguous range, m1 wraps.
    EXPECT_NE(run.out.find("colours 0 to 7.49481"), std::string::npos) << run.out;
  }
}

}  // namespace
}  // namespace clitest
