// pxkit scale: files scaled as the library scales them (refusals: cli_errors_test.cc).
#include <gtest/gtest.h>
#include <pxkit.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "image_writers.h"
#include "sample_files.h"
#include "tool_runner.h"

namespace clitest {
namespace {

template <class T>
std::vector<T> library_scale(const std::vector<T>& in, pxcli::Size from, pxcli::Size to) {
  const std::uint32_t b = sizeof(T);
  void* ctx = create_common_img_scale_ctx(from.width, from.width * b, from.height, to.width, to.width * b,
                                          to.height, PXKIT_SCALE_METHOD_BILINEAR,
                                          b == 2 ? PXKIT_SCALE_DATA_U16 : PXKIT_SCALE_DATA_F32);
  EXPECT_NE(ctx, nullptr);
  std::vector<T> out(to.pixels());
  EXPECT_EQ(common_img_scale(ctx, in.data(), out.data()), 0);
  destroy_common_img_scale_ctx(ctx);
  return out;
}

TEST(CliScale, SixteenBitFilesMatchTheLibrary) {
  ScratchDir dir;
  const pxcli::Size from{13, 7};
  std::vector<std::uint16_t> in(from.pixels());
  for (std::size_t i = 0; i < in.size(); ++i) in[i] = static_cast<std::uint16_t>(i * 4099 + 17);
  write_pgm16(dir / "in.pgm", from.width, from.height, in);
  for (const char* out : {"out.png", "out.pgm"}) {
    for (const pxcli::Size to : {pxcli::Size{26, 14}, pxcli::Size{5, 3}, pxcli::Size{13, 20}}) {
      const ToolRun run = run_tool({"scale", "in.pgm", out, "--size", pxcli::to_string(to)}, dir.path());
      ASSERT_EQ(run.exit_code, 0) << run.err;
      EXPECT_EQ(line_count(run.out), 1) << run.out;
      const pxcli::SampleImage got = pxcli::read_sample_image(dir / out, nullptr);
      EXPECT_EQ(got.size.width, to.width);
      EXPECT_EQ(got.size.height, to.height);
      EXPECT_EQ(got.samples, library_scale(in, from, to)) << out << " " << pxcli::to_string(to);
    }
  }
}

TEST(CliScale, FloatFilesMatchTheLibraryBitForBit) {
  ScratchDir dir;
  const pxcli::Size from{9, 6};
  std::vector<float> in(from.pixels());
  for (std::size_t i = 0; i < in.size(); ++i) in[i] = static_cast<float>(i) * 1.75f - 20.0f;
  pxcli::write_pfm(dir / "in.pfm", from, in);
  pxcli::write_tiff_float(dir / "in.tiff", from, in);
  const pxcli::Size to{17, 4};
  const std::vector<float> want = library_scale(in, from, to);
  for (const char* input : {"in.pfm", "in.tiff"}) {
    for (const char* out : {"out.tiff", "out.pfm"}) {
      ASSERT_EQ(run_tool({"scale", input, out, "--size", "17x4"}, dir.path()).exit_code, 0);
      EXPECT_TRUE(same_bits(read_floats(dir / out, to.width, to.height), want)) << input << " -> " << out;
    }
  }
}

}  // namespace
}  // namespace clitest
