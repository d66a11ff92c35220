// `pxkit yuv` against direct library calls (refusals: cli_errors_test.cc).
#include <gtest/gtest.h>
#include <pxkit.h>

#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "tool_runner.h"

namespace clitest {
namespace {

constexpr std::uint32_t kW = 37, kH = 21;

std::vector<std::uint8_t> nv12_frame(std::uint32_t w, std::uint32_t h) {
  std::mt19937 rng(12);
  std::vector<std::uint8_t> f(std::size_t{w} * h + std::size_t{w / 2} * 2 * (h / 2));
  for (auto& b : f) b = static_cast<std::uint8_t>(rng());
  return f;
}

std::vector<std::uint8_t> read_all(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The library's I420 result for a down-scale (which reads nothing beyond the
// frame, so the raw frame serves as source as it is).
std::vector<std::uint8_t> library_result(const std::vector<std::uint8_t>& nv12, std::uint32_t dw,
                                         std::uint32_t dh, std::uint32_t method) {
  void* ctx = create_img_scale_ctx(kW, kH, dw, dh, 1, 2, method, 0);
  std::vector<std::uint8_t> out(std::size_t{dw} * dh + 2 * std::size_t{dw / 2} * (dh / 2));
  std::uint8_t* const y = const_cast<std::uint8_t*>(nv12.data());
  std::uint8_t* const u = out.data() + std::size_t{dw} * dh;
  img_planes src{{y, y + std::size_t{kW} * kH}, {kW, kW / 2 * 2}};
  img_planes dst{{out.data(), u, u + std::size_t{dw / 2} * (dh / 2)}, {dw, dw / 2, dw / 2}};
  EXPECT_EQ(img_scale(ctx, &src, &dst), 0);
  destroy_img_scale_ctx(ctx);
  return out;
}

TEST(CliYuv, OutputsEqualTheLibraryBandsEqualWholeFramesAndPreviewsShowBoth) {
  ScratchDir dir;
  const auto nv12 = nv12_frame(kW, kH);
  write_bytes(dir / "in.nv12", nv12);
  const ToolRun run =
      run_tool({"yuv", "in.nv12", "out.i420", "--in", "37x21", "--size", "20x13", "--png", "p"}, dir.path());
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(dir.files(), (std::vector<std::string>{"in.nv12", "out.i420", "p_in.png", "p_in_luma.png",
                                                   "p_out.png", "p_out_luma.png"}));
  std::uint32_t w = 0, h = 0;
  const auto out_luma = read_png_grey8(dir / "p_out_luma.png", w, h);
  EXPECT_EQ(w, 20u);
  EXPECT_EQ(h, 13u);
  const auto out = read_all(dir / "out.i420");
  EXPECT_EQ(out_luma, std::vector<std::uint8_t>(out.begin(), out.begin() + 20 * 13));
  const auto in_luma = read_png_grey8(dir / "p_in_luma.png", w, h);
  EXPECT_EQ(in_luma, std::vector<std::uint8_t>(nv12.begin(), nv12.begin() + kW * kH));

  struct Case {
    const char* method;
    std::uint32_t method_code;
  };
  for (const Case c : {Case{"bilinear", 2}, Case{"area", 3}}) {
    for (const char* banded : {"", "--banded"}) {
      std::vector<std::string> args = {"yuv", "in.nv12", "out.i420", "--in", "37x21", "--size", "20x13",
                                       "--method", c.method};
      if (*banded) args.push_back(banded);
      ASSERT_EQ(run_tool(args, dir.path()).exit_code, 0);
      EXPECT_EQ(read_all(dir / "out.i420"), library_result(nv12, 20, 13, c.method_code)) << c.method << banded;
    }
  }
  // Up-scaling reads one column and row beyond the frame: whole and banded agree.
  ASSERT_EQ(run_tool({"yuv", "in.nv12", "up.i420", "--in", "37x21", "--size", "80x50"}, dir.path()).exit_code, 0);
  ASSERT_EQ(run_tool({"yuv", "in.nv12", "upb.i420", "--in", "37x21", "--size", "80x50", "--banded"}, dir.path())
                .exit_code, 0);
  EXPECT_EQ(read_all(dir / "up.i420").size(), 80u * 50 + 2 * 40 * 25);
  EXPECT_EQ(read_all(dir / "up.i420"), read_all(dir / "upb.i420"));
}

}  // namespace
}  // namespace clitest
