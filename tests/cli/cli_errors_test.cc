// The tool's refusals: exit code 2, one line on standard error naming the
// problem, and no output file (complete or partial) left behind.
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

// Four raw 8x4 frames p0.raw .. p3.raw in `dir`.
std::vector<std::string> raw_inputs(const ScratchDir& dir, int count = 4) {
  std::vector<std::string> names;
  for (int k = 0; k < count; ++k) {
    names.push_back("p" + std::to_string(k) + ".raw");
    write_raw(dir / names.back(), frame());
  }
  return names;
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

TEST(CliUsage, EveryCommandHasHelp) {
  ScratchDir dir;
  const ToolRun top = run_tool({"--help"}, dir.path());
  EXPECT_EQ(top.exit_code, 0);
  for (const char* command : {"demo", "tof", "version"}) {
    EXPECT_NE(top.out.find(std::string("  ") + command), std::string::npos) << command;
    const ToolRun run = run_tool({command, "--help"}, dir.path());
    EXPECT_EQ(run.exit_code, 0) << command;
    EXPECT_NE(run.out.find("pxkit " + std::string(command)), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("--help"), std::string::npos) << run.out;
    EXPECT_EQ(run.err, "");
  }
  const ToolRun tof = run_tool({"tof", "--help"}, dir.path());
  for (const char* option : {"--size", "--interleave", "--dual", "--scale", "--offset", "--m0", "--format"}) {
    EXPECT_NE(tof.out.find(option), std::string::npos) << option;
  }
  EXPECT_TRUE(dir.files().empty());
}

TEST(CliUsage, VersionComesFromTheLibrary) {
  ScratchDir dir;
  const ToolRun run = run_tool({"version"}, dir.path());
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.out, "libpxkit " PXKIT_VERSION_STRING " (2021-09-18)\n");
}

TEST(CliTofErrors, BadArguments) {
  ScratchDir dir;
  const auto in = raw_inputs(dir);
  expect_refused(dir, concat({"tof", "--bogus", "--size", "8x4"}, in), "--bogus");
  expect_refused(dir, concat({"tof", "--size", "8by4"}, in), "bad size '8by4'");
  expect_refused(dir, concat({"tof", "--size", "0x4"}, in), "bad size '0x4'");
  expect_refused(dir, {"tof", "--size", "8x4", in[0], in[1], in[2]}, "needs 4 sample files, got 3");
  expect_refused(dir, concat({"tof", "--dual", "--size", "8x4"}, in), "--dual needs 8 sample files, got 4");
  expect_refused(dir, concat({"tof", "--size", "8x4", "--right-shift-bits", "256"}, in), "--right-shift-bits");
  expect_refused(dir, concat({"tof", "--size", "8x4", "--format", "jpeg"}, in), "--format");
  expect_refused(dir, concat({"tof", "--size", "8x4", "--range", "3:1"}, in), "bad range '3:1'");
  expect_refused(dir, concat({"tof", "--size", "8x4", "--scale", "2", "--freq", "6e7"}, in), "--freq");
  expect_refused(dir, concat({"tof", "--size", "8x4", "--offset0", "0.1"}, in), "--offset0/--offset1 need --dual");
  const auto eight = concat(in, in);
  expect_refused(dir, concat({"tof", "--dual", "--size", "8x4", "--reverse-90-270"}, eight),
                 "single-frequency options");
  expect_refused(dir, concat({"tof", "--dual", "--size", "8x4", "--cut-higher-amplitude-bits", "16"}, eight),
                 "4 bits (0..15)");
}

TEST(CliTofErrors, MissingShortAndMismatchedFiles) {
  ScratchDir dir;
  const auto in = raw_inputs(dir);
  expect_refused(dir, {"tof", "--size", "8x4", in[0], in[1], in[2], "absent.raw"},
                 "cannot read absent.raw: No such file or directory");
  expect_refused(dir, concat({"tof"}, in),
                 "p0.raw: not a PNG or binary (P5) PGM; raw sample files need --size WxH (the tool reads");
  std::filesystem::create_directory(dir / "folder");
  expect_refused(dir, {"tof", "--size", "8x4", in[0], "folder", in[2], in[3]}, "cannot read folder: not a regular file");
  expect_refused(dir, {"tof"}, "FILES is required");
  // 64 bytes hold 8x4 samples; a 9x4 or an interleaved 8x4 frame needs more.
  expect_refused(dir, concat({"tof", "--size", "9x4"}, in), "p0.raw: 64 bytes, expected 72 (9x4 16-bit samples)");
  expect_refused(dir, concat({"tof", "--size", "8x4", "--interleave"}, in), "expected 128 (16x4");
  write_bytes(dir / "short.raw", std::vector<std::uint8_t>(63, 1));
  expect_refused(dir, {"tof", "--size", "8x4", in[0], in[1], "short.raw", in[3]}, "short.raw: 63 bytes, expected 64");

  // Self-describing images must agree with each other and with --size.
  write_pgm16(dir / "a.pgm", kW, kH, frame());
  write_pgm16(dir / "b.pgm", 4, 8, frame(4, 8));
  expect_refused(dir, {"tof", "a.pgm", "a.pgm", "b.pgm", "a.pgm"}, "b.pgm: image is 4x8 samples, a.pgm is 8x4");
  expect_refused(dir, {"tof", "--size", "4x4", "a.pgm", "a.pgm", "a.pgm", "a.pgm"},
                 "a.pgm: image is 8x4 samples, --size 4x4 needs 4x4");
  write_pgm16(dir / "odd.pgm", 7, 4, frame(7, 4));
  expect_refused(dir, {"tof", "--interleave", "odd.pgm", "odd.pgm", "odd.pgm", "odd.pgm"},
                 "--interleave needs an even number of samples per row, got 7");
  write_bytes(dir / "bad.pgm", {'P', '5', '\n', '8', ' ', 'x', '\n'});
  expect_refused(dir, {"tof", "bad.pgm", "bad.pgm", "bad.pgm", "bad.pgm"}, "bad.pgm: malformed PGM header");
  std::vector<std::uint8_t> truncated = {'P', '5', ' ', '8', ' ', '4', ' ', '6', '5', '5', '3', '5', '\n', 0, 1};
  write_bytes(dir / "cut.pgm", truncated);
  expect_refused(dir, {"tof", "cut.pgm", "cut.pgm", "cut.pgm", "cut.pgm"}, "cut.pgm: PGM data ends early");

  // An 8-bit PNG is not a sample image.
  pxcli::write_png_grey8(dir / "grey8.png", {kW, kH}, std::vector<std::uint8_t>(kW * kH, 9));
  expect_refused(dir, {"tof", "grey8.png", "grey8.png", "grey8.png", "grey8.png"},
                 "grey8.png: 8-bit PNG of colour type 0, expected 16-bit greyscale");
  std::vector<std::uint8_t> png_start = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n', 0, 0};
  write_bytes(dir / "cut.png", png_start);
  expect_refused(dir, {"tof", "cut.png", "cut.png", "cut.png", "cut.png"}, "cut.png: file ends early");
}

TEST(CliTofErrors, UnwritableOutputsLeaveNothingBehind) {
  ScratchDir dir;
  const auto in = raw_inputs(dir);
  write_bytes(dir / "plain-file", {1});
  expect_refused(dir, concat({"tof", "--size", "8x4", "--out", "plain-file/depth"}, in),
                 "cannot write plain-file/depth_depth.tiff: Not a directory");
  expect_refused(dir, concat({"tof", "--size", "8x4", "--out", "missing-dir/x"}, in),
                 "cannot write missing-dir/x_depth.tiff: No such file or directory");
  // The amplitude output is a folder: the depth files staged before it must go too.
  std::filesystem::create_directory(dir / "x_amplitude.png");
  expect_refused(dir, concat({"tof", "--size", "8x4", "--out", "x"}, in),
                 "cannot write x_amplitude.png: it is a directory");
}

// Values the tool used to accept silently: each is one line and exit code 2.
TEST(CliTofErrors, NonsenseNumbersAndOptionsThatWouldNotApply) {
  ScratchDir dir;
  const auto in = raw_inputs(dir);
  const auto eight = concat(in, in);
  const struct {
    std::vector<std::string> options;
    const char* why;
  } cases[] = {
      {{"--scale", "0"}, "--scale must not be 0"},
      {{"--scale", "nan"}, "--scale must be a finite number"},
      {{"--scale", "inf"}, "--scale must be a finite number"},
      {{"--offset", "nan"}, "--offset must be a finite number"},
      {{"--freq", "0"}, "--freq must be a positive frequency"},
      {{"--freq", "-60e6"}, "--freq must be a positive frequency"},
      {{"--m0", "5"}, "--m0/--m1 need --dual"},
      {{"--mantissa-bits", "16", "--fixed16"}, "--mantissa-bits must be 0..15"},
      {{"--mantissa-bits", "12"}, "--mantissa-bits needs --fixed16"},
      {{"--out", ""}, "--out must not be empty"},
      {{"--dual", "--m0", "0", "--m1", "0"}, "--m0 and --m1 must be at least 1"},
      {{"--dual", "--offset1", "nan"}, "--offset1 must be a finite number"},
  };
  for (const auto& c : cases) {
    const bool dual = c.options[0] == "--dual";
    std::vector<std::string> args = concat({"tof", "--size", "8x4"}, c.options);
    expect_refused(dir, concat(args, dual ? eight : in), c.why);
  }
}

// The content decides the format; a name that promises another one is refused.
TEST(CliTofErrors, FormatComesFromTheContent) {
  ScratchDir dir;
  write_bytes(dir / "noise.png", std::vector<std::uint8_t>(kW * kH * 2, 0x5A));  // the size of an 8x4 raw frame
  expect_refused(dir, {"tof", "--size", "8x4", "noise.png", "noise.png", "noise.png", "noise.png"},
                 "noise.png: not a PNG file");
  const std::string p2 = "P2\n8 4\n65535\n" + std::string(32 * 2, '1');
  write_bytes(dir / "text.pgm", std::vector<std::uint8_t>(p2.begin(), p2.end()));
  expect_refused(dir, {"tof", "text.pgm", "text.pgm", "text.pgm", "text.pgm"}, "plain-text (P2) PGM is not read");
}

// A huge raw file is measured, not read: refused at once, whatever memory is left.
TEST(CliTofErrors, OversizedRawFileIsRefusedBeforeReading) {
  ScratchDir dir;
  const auto in = raw_inputs(dir);
  { std::ofstream touch(dir / "huge.raw"); }
  std::filesystem::resize_file(dir / "huge.raw", std::uint64_t{10} << 30);  // sparse: no disk used
  const ToolRun run = run_tool({"tof", "--size", "320x240", "huge.raw", "huge.raw", "huge.raw", "huge.raw"},
                               dir.path(), {std::uint64_t{512} << 20, 0});
  EXPECT_EQ(run.exit_code, 2) << run.err;
  EXPECT_EQ(run.err, "pxkit tof: huge.raw: 10737418240 bytes, expected 153600 (320x240 16-bit samples)\n");
}

// A write that fails part-way names the user's file and the system's reason once.
TEST(CliTofErrors, WriteFailureNamesTheOutputAndTheReason) {
  ScratchDir dir;
  std::vector<std::string> in;
  for (int k = 0; k < 4; ++k) {
    in.push_back("q" + std::to_string(k) + ".raw");
    write_raw(dir / in.back(), std::vector<std::uint16_t>(64 * 64, static_cast<std::uint16_t>(k * 100)));
  }
  const std::vector<std::string> before = dir.files();
  for (const char* format : {"tiff", "pfm"}) {
    const ToolRun run = run_tool(concat({"tof", "--size", "64x64", "--format", format}, in), dir.path(),
                                 {0, 4096});
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.err, std::string("pxkit tof: cannot write tof_depth.") + format + ": File too large\n");
    EXPECT_EQ(dir.files(), before);
  }
}

TEST(CliTofOutput, TrailingSlashNamesAFolder) {
  ScratchDir dir;
  const auto in = raw_inputs(dir);
  std::filesystem::create_directory(dir / "out");
  const ToolRun run = run_tool(concat({"tof", "--size", "8x4", "--out", "out/"}, in), dir.path());
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_TRUE(std::filesystem::exists(dir / "out/tof_depth.tiff"));
}

TEST(CliDemoErrors, BadArgumentsAndUnwritableFolder) {
  ScratchDir dir;
  write_bytes(dir / "plain-file", {1});
  expect_refused(dir, {"demo", "--size", "4x4"}, "--size must be at least 8x8");
  expect_refused(dir, {"demo", "--size", "640x"}, "bad size '640x'");
  expect_refused(dir, {"demo", "--noise", "-1"}, "--noise must be a finite number, 0 or more");
  expect_refused(dir, {"demo", "--noise", "inf"}, "--noise must be a finite number, 0 or more");
  expect_refused(dir, {"demo", "--out", ""}, "--out must name a folder");
  expect_refused(dir, {"demo", "--size", "20000x20000"}, "at most 268435456 (2^28) pixels, e.g. 16384x16384");
  expect_refused(dir, {"demo", "--out", "plain-file/demo"}, "cannot create plain-file/demo");
  expect_refused(dir, {"demo", "--out", "plain-file"}, "cannot create plain-file");
}

// Sanitizer builds run without the memory limit (see run_tool), so this
// refusal is checked in the plain build only.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(CliDemoErrors, SizeBeyondTheMemoryLimitIsRefusedUpFront) {
  ScratchDir dir;
  const std::vector<std::string> args = {"demo", "--size", "16384x16384", "--out", "d"};
  const ToolRun run = run_tool(args, dir.path(), {std::uint64_t{2} << 30, 0});
  EXPECT_EQ(run.exit_code, 2) << run.err;
  EXPECT_EQ(line_count(run.err), 1) << run.err;
  EXPECT_NE(run.err.find("MiB this process may use; the largest square size here is about"), std::string::npos)
      << run.err;
  EXPECT_EQ(run.out, "");
  EXPECT_TRUE(dir.files().empty());
}
#endif

}  // namespace
}  // namespace clitest
