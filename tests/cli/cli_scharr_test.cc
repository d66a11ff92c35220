// `pxkit edges` and `pxkit gradient`: outputs equal direct library calls
// (refusals: cli_errors_test.cc).
#include <gtest/gtest.h>
#include <pxkit.h>

#include <cstring>
#include <string>
#include <vector>

#include "image_writers.h"
#include "sample_files.h"
#include "tool_runner.h"

namespace clitest {
namespace {

constexpr std::uint32_t kW = 37, kH = 23;

// A depth map with two steps and a ramp, in u16 counts or metres.
template <class T>
std::vector<T> depth_map() {
  std::vector<T> d(std::size_t{kW} * kH);
  for (std::uint32_t y = 0; y < kH; ++y)
    for (std::uint32_t x = 0; x < kW; ++x)
      d[y * kW + x] = static_cast<T>((x < 12 ? 1500 : x < 25 ? 3000 : 2000 + 10 * y) / (sizeof(T) == 4 ? 1000.0 : 1.0));
  return d;
}

template <class T>
std::vector<T> library_s1(const std::vector<T>& in, std::uint32_t threads, float threshold, float relative = -1) {
  void* ctx = init_sparse_scharr_s1_ctx(threads, kW, kH);
  std::vector<T> out(in.size());
  const std::uint32_t type = sizeof(T) == 4 ? SPARSE_SCHARR_S1_F32 : SPARSE_SCHARR_S1_U16;
  if (relative >= 0) {
    do_sparse_scharr_s1_v2(ctx, in.data(), out.data(), 1, type, threshold, relative);
  } else {
    do_sparse_scharr_s1(ctx, in.data(), out.data(), type, threshold);
  }
  deinit_sparse_scharr_s1_ctx(ctx);
  return out;
}

void expect_ok(const ToolRun& run) {
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.err, "");
}

TEST(CliEdges, OutputsEqualTheLibrary) {
  ScratchDir dir;
  const auto u16 = depth_map<std::uint16_t>();
  pxcli::write_png_grey16(dir / "d16.png", {kW, kH}, u16);
  expect_ok(run_tool({"edges", "d16.png", "c16.png", "--threshold", "9000.7", "--threads", "1"}, dir.path()));
  const pxcli::SampleImage c16 = pxcli::read_sample_image(dir / "c16.png", nullptr);
  EXPECT_EQ(c16.samples, library_s1(u16, 1, 9000.7f));
  std::uint32_t w = 0, h = 0;
  read_png_grey8(dir / "c16_preview.png", w, h);
  EXPECT_EQ(w, kW);
  EXPECT_EQ(h, kH);

  const auto f32 = depth_map<float>();
  pxcli::write_tiff_float(dir / "d.tiff", {kW, kH}, f32);
  pxcli::write_pfm(dir / "d.pfm", {kW, kH}, f32);
  const ToolRun plain = run_tool({"edges", "d.tiff", "c.pfm", "--threshold", "4", "--preview", "p.png"}, dir.path());
  expect_ok(plain);
  EXPECT_NE(plain.out.find("removed"), std::string::npos) << plain.out;
  EXPECT_TRUE(same_bits(read_floats(dir / "c.pfm", kW, kH), library_s1(f32, 2, 4.0f)));
  expect_ok(run_tool({"edges", "d.pfm", "r.tiff", "--threshold", "0.05", "--relative", "0", "--threads", "3"},
                     dir.path()));
  const std::vector<float> relative = read_floats(dir / "r.tiff", kW, kH);
  EXPECT_TRUE(same_bits(relative, library_s1(f32, 3, 0.05f, 0.0f)));
  EXPECT_FALSE(same_bits(relative, read_floats(dir / "c.pfm", kW, kH)));
}

TEST(CliGradient, OutputEqualsTheLibrary) {
  ScratchDir dir;
  std::vector<std::uint8_t> pic(std::size_t{kW} * kH);
  for (std::size_t i = 0; i < pic.size(); ++i) pic[i] = static_cast<std::uint8_t>((i * 37) ^ (i / kW * 11));
  pxcli::write_png_grey8(dir / "pic.png", {kW, kH}, pic);
  static const std::vector<std::uint8_t> table(512 * 512, 0);
  for (const int step : {1, 2, 4}) {
    SCOPED_TRACE(step);
    expect_ok(run_tool({"gradient", "pic.png", "g.png", "--step", std::to_string(step)}, dir.path()));
    sparse_scharr_ctx ctx;
    ASSERT_EQ(init_sparse_scharr_ctx(&ctx, kW, kH, step), 0);
    const int rows = step == 1 ? kH - 2 : step == 2 ? ctx.sparse_height - 1 : ctx.sparse_height;
    std::vector<std::uint8_t> mag(static_cast<std::size_t>(rows * ctx.sparse_width)), code(mag.size());
    do_sparse_scharr(&ctx, table.data(), pic.data(), mag.data(), code.data());
    std::uint32_t w = 0, h = 0;
    EXPECT_EQ(read_png_grey8(dir / "g.png", w, h), mag);
    EXPECT_EQ(w, static_cast<std::uint32_t>(ctx.sparse_width));
    EXPECT_EQ(h, static_cast<std::uint32_t>(rows));
    deinit_sparse_scharr_ctx(&ctx);
  }
}

}  // namespace
}  // namespace clitest
