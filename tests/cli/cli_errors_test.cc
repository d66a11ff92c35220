// The tool's usage, help and refusals: exit code 2, one line on standard error
// naming the problem, and no output file (complete or partial) left behind.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "image_writers.h"
#include "pxkit_version.h"
#include "tool_runner.h"

namespace clitest {
namespace {

constexpr std::uint32_t kW = 8, kH = 4;

std::vector<std::uint16_t> frame(std::uint32_t w = kW, std::uint32_t h = kH) {
  std::vector<std::uint16_t> s(std::size_t{w} * h);
  for (std::size_t i = 0; i < s.size(); ++i) s[i] = static_cast<std::uint16_t>(100 + 7 * i);
  return s;
}

std::vector<std::string> concat(std::vector<std::string> a, const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST(CliUsage, NoCommandOrUnknownCommandIsAUsageError) {
  ScratchDir dir;
  ToolRun run = run_tool({}, dir.path());
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_NE(run.err.find("usage: pxkit COMMAND"), std::string::npos);
  run = run_tool({"frobnicate"}, dir.path());
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_EQ(run.err, "pxkit: unknown command 'frobnicate' (see 'pxkit --help')\n");
}

// The top-level help lists every command, and each command's help names its
// usage and the options a user needs.
TEST(CliUsage, EveryCommandHasHelp) {
  ScratchDir dir;
  const ToolRun top = run_tool({"--help"}, dir.path());
  EXPECT_EQ(top.exit_code, 0);
  const struct {
    const char* command;
    std::vector<std::string> words;
  } cases[] = {
      {"demo", {}},
      {"tof", {"--size", "--interleave", "--dual", "--scale", "--offset", "--m0", "--format"}},
      {"version", {}},
      {"scale", {"--size"}},
      {"yuv", {"NV12"}},
      {"edges", {"--threshold", "--relative", "--threads", "--preview"}},
      {"gradient", {"--step"}},
      {"grey", {"libpxkit"}},
      {"rotate", {"libpxkit"}},
      {"warp", {"--corners"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.command);
    EXPECT_NE(top.out.find(std::string("  ") + c.command), std::string::npos);
    const ToolRun run = run_tool({c.command, "--help"}, dir.path());
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.err, "");
    for (const std::string& word : concat({"pxkit " + std::string(c.command), "--help"}, c.words))
      EXPECT_NE(run.out.find(word), std::string::npos) << word << " in: " << run.out;
  }
  EXPECT_TRUE(dir.files().empty());
}

TEST(CliUsage, VersionComesFromTheLibrary) {
  ScratchDir dir;
  const ToolRun run = run_tool({"version"}, dir.path());
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.out, "libpxkit " PXKIT_VERSION_STRING " (2021-09-18)\n");
}

// Bad options and values, inputs that are missing, short, mismatched, huge or
// of another format than their content, outputs that cannot be written, and a
// demo too large for the memory the process may use.
TEST(CliRefusals, TofAndDemo) {
  ScratchDir dir;
  const std::vector<std::string> raw = {"p0.raw", "p1.raw", "p2.raw", "p3.raw", "p0.raw", "p1.raw", "p2.raw", "p3.raw"};
  for (int k = 0; k < 4; ++k) write_raw(dir / raw[k], frame());
  std::filesystem::create_directory(dir / "folder");
  write_bytes(dir / "short.raw", std::vector<std::uint8_t>(63, 1));  // 64 bytes hold 8x4 samples
  write_pgm16(dir / "a.pgm", kW, kH, frame());
  write_pgm16(dir / "b.pgm", 4, 8, frame(4, 8));
  write_pgm16(dir / "odd.pgm", 7, 4, frame(7, 4));
  write_bytes(dir / "bad.pgm", {'P', '5', '\n', '8', ' ', 'x', '\n'});
  write_bytes(dir / "cut.pgm", {'P', '5', ' ', '8', ' ', '4', ' ', '6', '5', '5', '3', '5', '\n', 0, 1});
  pxcli::write_png_grey8(dir / "grey8.png", {kW, kH}, std::vector<std::uint8_t>(kW * kH, 9));
  write_bytes(dir / "cut.png", {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n', 0, 0});
  write_bytes(dir / "noise.png", std::vector<std::uint8_t>(kW * kH * 2, 0x5A));  // the size of an 8x4 raw frame
  const std::string p2 = "P2\n8 4\n65535\n" + std::string(32 * 2, '1');
  write_bytes(dir / "text.pgm", std::vector<std::uint8_t>(p2.begin(), p2.end()));
  write_bytes(dir / "plain-file", {1});
  std::filesystem::create_directory(dir / "x_amplitude.png");
  const struct {
    std::vector<std::string> args;
    int raw_files;  // p0.raw .. p3.raw (then again) appended
    const char* why;
  } cases[] = {
      {{"tof", "--bogus", "--size", "8x4"}, 4, "--bogus"},
      {{"tof", "--size", "8by4"}, 4, "bad size '8by4'"},
      {{"tof", "--size", "0x4"}, 4, "bad size '0x4'"},
      {{"tof", "--size", "8x4"}, 3, "needs 4 sample files, got 3"},
      {{"tof", "--dual", "--size", "8x4"}, 4, "--dual needs 8 sample files, got 4"},
      {{"tof", "--size", "8x4", "--right-shift-bits", "256"}, 4, "--right-shift-bits"},
      {{"tof", "--size", "8x4", "--format", "jpeg"}, 4, "--format"},
      {{"tof", "--size", "8x4", "--range", "3:1"}, 4, "bad range '3:1'"},
      {{"tof", "--size", "8x4", "--scale", "2", "--freq", "6e7"}, 4, "--freq"},
      {{"tof", "--size", "8x4", "--offset0", "0.1"}, 4, "--offset0/--offset1 need --dual"},
      {{"tof", "--dual", "--size", "8x4", "--reverse-90-270"}, 8, "single-frequency options"},
      {{"tof", "--dual", "--size", "8x4", "--cut-higher-amplitude-bits", "16"}, 8, "4 bits (0..15)"},
      // Values the tool used to accept silently.
      {{"tof", "--size", "8x4", "--scale", "0"}, 4, "--scale must not be 0"},
      {{"tof", "--size", "8x4", "--scale", "nan"}, 4, "--scale must be a finite number"},
      {{"tof", "--size", "8x4", "--scale", "inf"}, 4, "--scale must be a finite number"},
      {{"tof", "--size", "8x4", "--offset", "nan"}, 4, "--offset must be a finite number"},
      {{"tof", "--size", "8x4", "--freq", "0"}, 4, "--freq must be a positive frequency"},
      {{"tof", "--size", "8x4", "--freq", "-60e6"}, 4, "--freq must be a positive frequency"},
      {{"tof", "--size", "8x4", "--m0", "5"}, 4, "--m0/--m1 need --dual"},
      {{"tof", "--size", "8x4", "--mantissa-bits", "16", "--fixed16"}, 4, "--mantissa-bits must be 0..15"},
      {{"tof", "--size", "8x4", "--mantissa-bits", "12"}, 4, "--mantissa-bits needs --fixed16"},
      {{"tof", "--size", "8x4", "--out", ""}, 4, "--out must not be empty"},
      {{"tof", "--size", "8x4", "--dual", "--m0", "0", "--m1", "0"}, 8, "--m0 and --m1 must be at least 1"},
      {{"tof", "--size", "8x4", "--dual", "--offset1", "nan"}, 8, "--offset1 must be a finite number"},
      // Inputs.
      {{"tof", "--size", "8x4", "p0.raw", "p1.raw", "p2.raw", "absent.raw"}, 0,
       "cannot read absent.raw: No such file or directory"},
      {{"tof"}, 4, "p0.raw: not a PNG or binary (P5) PGM; raw sample files need --size WxH (the tool reads"},
      {{"tof", "--size", "8x4", "p0.raw", "folder", "p2.raw", "p3.raw"}, 0, "cannot read folder: not a regular file"},
      {{"tof"}, 0, "FILES is required"},
      {{"tof", "--size", "9x4"}, 4, "p0.raw: 64 bytes, expected 72 (9x4 16-bit samples)"},
      {{"tof", "--size", "8x4", "--interleave"}, 4, "expected 128 (16x4"},
      {{"tof", "--size", "8x4", "p0.raw", "p1.raw", "short.raw", "p3.raw"}, 0, "short.raw: 63 bytes, expected 64"},
      // Self-describing images must agree with each other and with --size.
      {{"tof", "a.pgm", "a.pgm", "b.pgm", "a.pgm"}, 0, "b.pgm: image is 4x8 samples, a.pgm is 8x4"},
      {{"tof", "--size", "4x4", "a.pgm", "a.pgm", "a.pgm", "a.pgm"}, 0,
       "a.pgm: image is 8x4 samples, --size 4x4 needs 4x4"},
      {{"tof", "--interleave", "odd.pgm", "odd.pgm", "odd.pgm", "odd.pgm"}, 0,
       "--interleave needs an even number of samples per row, got 7"},
      {{"tof", "bad.pgm", "bad.pgm", "bad.pgm", "bad.pgm"}, 0, "bad.pgm: malformed PGM header"},
      {{"tof", "cut.pgm", "cut.pgm", "cut.pgm", "cut.pgm"}, 0, "cut.pgm: PGM data ends early"},
      {{"tof", "grey8.png", "grey8.png", "grey8.png", "grey8.png"}, 0,
       "grey8.png: 8-bit PNG of colour type 0, expected 16-bit greyscale"},
      {{"tof", "cut.png", "cut.png", "cut.png", "cut.png"}, 0, "cut.png: file ends early"},
      // The content decides the format; a name that promises another one is refused.
      {{"tof", "--size", "8x4", "noise.png", "noise.png", "noise.png", "noise.png"}, 0, "noise.png: not a PNG file"},
      {{"tof", "text.pgm", "text.pgm", "text.pgm", "text.pgm"}, 0, "plain-text (P2) PGM is not read"},
      // Outputs.
      {{"tof", "--size", "8x4", "--out", "plain-file/depth"}, 4,
       "cannot write plain-file/depth_depth.tiff: Not a directory"},
      {{"tof", "--size", "8x4", "--out", "missing-dir/x"}, 4,
       "cannot write missing-dir/x_depth.tiff: No such file or directory"},
      // The amplitude output is a folder: the depth files staged before it must go too.
      {{"tof", "--size", "8x4", "--out", "x"}, 4, "cannot write x_amplitude.png: it is a directory"},
      {{"demo", "--size", "4x4"}, 0, "--size must be at least 8x8"},
      {{"demo", "--size", "640x"}, 0, "bad size '640x'"},
      {{"demo", "--noise", "-1"}, 0, "--noise must be a finite number, 0 or more"},
      {{"demo", "--noise", "inf"}, 0, "--noise must be a finite number, 0 or more"},
      {{"demo", "--out", ""}, 0, "--out must name a folder"},
      {{"demo", "--size", "20000x20000"}, 0, "at most 268435456 (2^28) pixels, e.g. 16384x16384"},
      {{"demo", "--out", "plain-file/demo"}, 0, "cannot create plain-file/demo"},
      {{"demo", "--out", "plain-file"}, 0, "cannot create plain-file"},
  };
  for (const auto& c : cases) expect_refused(dir, concat(c.args, {raw.begin(), raw.begin() + c.raw_files}), c.why);

  // A huge raw file is measured, not read: refused at once, whatever memory is left.
  { std::ofstream touch(dir / "huge.raw"); }
  std::filesystem::resize_file(dir / "huge.raw", std::uint64_t{10} << 30);  // sparse: no disk used
  expect_refused(dir, {"tof", "--size", "320x240", "huge.raw", "huge.raw", "huge.raw", "huge.raw"},
                 "huge.raw: 10737418240 bytes, expected 153600 (320x240 16-bit samples)",
                 {std::uint64_t{512} << 20, 0});
  // A write that fails part-way names the user's file and the system's reason once.
  std::vector<std::string> big;
  for (int k = 0; k < 4; ++k) {
    big.push_back("q" + std::to_string(k) + ".raw");
    write_raw(dir / big.back(), std::vector<std::uint16_t>(64 * 64, static_cast<std::uint16_t>(k * 100)));
  }
  for (const std::string format : {"tiff", "pfm"}) {
    expect_refused(dir, concat({"tof", "--size", "64x64", "--format", format}, big),
                   "cannot write tof_depth." + format + ": File too large", {0, 4096});
  }
  // Sanitizer builds run without the memory limit (see run_tool): checked in the plain build only.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  expect_refused(dir, {"demo", "--size", "16384x16384", "--out", "d"},
                 "MiB this process may use; the largest square size here is about", {std::uint64_t{2} << 30, 0});
#endif
}

// The other commands' refusals. The inputs' contents do not matter here, only
// their sizes and formats.
TEST(CliRefusals, ImageCommands) {
  ScratchDir dir;
  pxcli::write_png_rgb8(dir / "rgb.png", {23, 11}, std::vector<std::uint8_t>(23 * 11 * 3, 90));
  pxcli::write_png_grey8(dir / "pic.png", {37, 23}, std::vector<std::uint8_t>(37 * 23, 90));
  pxcli::write_png_grey8(dir / "ramp.png", {80, 60}, std::vector<std::uint8_t>(80 * 60, 90));
  pxcli::write_png_grey16(dir / "d16.png", {37, 23}, std::vector<std::uint16_t>(37 * 23, 1500));
  pxcli::write_tiff_float(dir / "d.tiff", {37, 23}, std::vector<float>(37 * 23, 1.5f));
  write_pgm16(dir / "in.pgm", 4, 3, std::vector<std::uint16_t>(12, 500));
  pxcli::write_pfm(dir / "in.pfm", {4, 3}, std::vector<float>(12, 1.5f));
  write_bytes(dir / "in.nv12", std::vector<std::uint8_t>(37 * 21 + 18 * 2 * 10, 90));  // an NV12 37x21 frame
  write_bytes(dir / "junk.png", {1, 2, 3, 4});
  write_bytes(dir / "junk.bin", {1, 2, 3, 4, 5, 6, 7, 8, 9});
  write_bytes(dir / "short.pfm", {'P', 'f', '\n', '4', ' ', '4', '\n', '-', '1', '\n', 0, 0});
  const std::string quad = "5,5,30,5,30,30,5,30";
  const struct {
    std::vector<std::string> args;
    const char* why;
  } cases[] = {
      {{"grey", "rgb.png"}, "output"},
      {{"grey", "absent.png", "out.png"}, "cannot read absent.png"},
      {{"grey", ".", "out.png"}, "not a regular file"},
      {{"grey", "junk.png", "out.png"}, "junk.png: not a readable PNG"},
      {{"grey", "rgb.png", "out.png", "--size", "0x3"}, "bad size '0x3'"},
      {{"grey", "rgb.png", "out.png", "--layout", "yuv"}, "bad layout 'yuv'"},
      {{"rotate", "rgb.png", "out.png"}, "--angle"},
      {{"rotate", "rgb.png", "out.png", "--angle", "nan"}, "--angle must be a finite"},
      {{"rotate", "rgb.png", "out.png", "--angle", "5", "--a", "99"}, "--a must be between"},
      {{"rotate", "rgb.png", "no-such-dir/out.png", "--angle", "5"}, "no-such-dir"},
      {{"edges", "d16.png", "o.png"}, "--threshold"},
      {{"edges", "d16.png", "o.png", "--threshold", "5", "--relative", "1"}, "float depth map"},
      {{"edges", "d.tiff", "o.tiff", "--threshold", "5", "--relative", "1", "--threads", "1"}, "--threads 2 or more"},
      {{"edges", "d.tiff", "o.png", "--threshold", "5"}, ".tiff, .tif or .pfm"},
      {{"edges", "d16.png", "o.tiff", "--threshold", "5"}, ".png for a 16-bit"},
      {{"edges", "missing.png", "o.png", "--threshold", "5"}, "missing.png"},
      {{"edges", "junk.bin", "o.png", "--threshold", "5"}, "not a 16-bit PNG"},
      {{"edges", "short.pfm", "o.pfm", "--threshold", "5"}, "ends early"},
      {{"edges", "d16.png", "o.png", "--threshold", "5", "--threads", "33"}, "--threads"},
      {{"edges", "d16.png", "o.png", "--threshold", "nan"}, "threshold"},
      {{"edges", "d16.png", "no/such/dir/o.png", "--threshold", "5"}, "no/such/dir"},
      {{"gradient", "pic.png", "x.png", "--step", "30"}, "too small for --step 30"},
      {{"gradient", "pic.png", "x.png", "--step", "0"}, "--step"},
      {{"gradient", "nothing.png", "x.png"}, "nothing.png"},
      {{"scale", "in.pgm", "out.png", "--size", "4x3"}, "cannot scale 4x3 to 4x3: non-scale, not supported yet"},
      {{"scale", "in.pfm", "out.png", "--size", "8x6"}, "a float image is written as .tiff, .tif or .pfm"},
      {{"scale", "in.pgm", "out.tiff", "--size", "8x6"}, "a 16-bit image is written as .png or .pgm"},
      {{"scale", "junk.bin", "out.png", "--size", "8x6"}, "junk.bin: not a 16-bit PNG/PGM or float TIFF/PFM image"},
      {{"scale", "missing.pgm", "out.png", "--size", "8x6"}, "cannot read missing.pgm"},
      {{"scale", "in.pgm", "out.png"}, "--size is required"},
      {{"scale", "in.pgm", "out.png", "--size", "8by6"}, "bad size '8by6'"},
      {{"warp", "ramp.png", "out.png", "--corners", "1,2,3", "--size", "8x8"}, "bad corners"},
      {{"warp", "ramp.png", "out.png", "--corners", "1,2,3,4,5,6,7,x", "--size", "8x8"}, "bad corners"},
      {{"warp", "ramp.png", "out.png", "--corners", "10,5,20,5,30,5,8,38", "--size", "8x8"}, "convex"},
      {{"warp", "ramp.png", "out.png", "--corners", "5,5,30,30,30,5,5,30", "--size", "8x8"}, "convex"},
      {{"warp", "ramp.png", "out.png", "--corners", quad, "--size", "8by8"}, "bad size"},
      {{"warp", "missing.png", "out.png", "--corners", quad, "--size", "8x8"}, "no such file"},
      {{"warp", "junk.png", "out.png", "--corners", quad, "--size", "8x8"}, "PNG"},
      {{"warp", "ramp.png", "out.png", "--size", "8x8"}, "--corners"},
      {{"warp", "ramp.png", "out.png", "--corners", "5,5,5000,5,5000,30,5,30", "--size", "8x8"}, "range"},
      {{"yuv", "in.nv12", "o", "--in", "36x21", "--size", "8x8"}, "an NV12 frame of 36x21 has"},
      {{"yuv", "missing.nv12", "o", "--in", "37x21", "--size", "8x8"}, "cannot read missing.nv12"},
      {{"yuv", "in.nv12", "o", "--in", "37x21", "--size", "8x8", "--method", "box"}, "--method"},
      {{"yuv", "in.nv12", "o", "--in", "37x21", "--size", "40x8", "--method", "area"}, "smaller than --in"},
      {{"yuv", "in.nv12", "o", "--in", "37x21", "--size", "37x21"}, "nothing to scale"},
      {{"yuv", "in.nv12", "o", "--in", "37x21", "--size", "1x8"}, "at least 2x2"},
      {{"yuv", "in.nv12", "o", "--size", "8x8"}, "--in"},
      {{"yuv", "in.nv12", "o", "--in", "37x21", "--size", "8y8"}, "8y8"},
  };
  for (const auto& c : cases) expect_refused(dir, c.args, c.why);
}

TEST(CliTofOutput, TrailingSlashNamesAFolder) {
  ScratchDir dir;
  for (int k = 0; k < 4; ++k) write_raw(dir / ("p" + std::to_string(k) + ".raw"), frame());
  std::filesystem::create_directory(dir / "out");
  const ToolRun run =
      run_tool({"tof", "--size", "8x4", "--out", "out/", "p0.raw", "p1.raw", "p2.raw", "p3.raw"}, dir.path());
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_TRUE(std::filesystem::exists(dir / "out/tof_depth.tiff"));
}

}  // namespace
}  // namespace clitest
