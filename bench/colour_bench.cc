// Colour conversion with nearest-neighbour scaling and the bicubic scanline
// sampler against the calls users would otherwise make: libyuv (RAWToJ400,
// ScalePlane, NV12ToI420 + I420Scale with kFilterNone) and OpenCV (cvtColor,
// resize INTER_NEAREST, remap INTER_CUBIC). Every pxkit case runs on the best
// target and on each target alone (/scalar, /AVX2, /AVX3 ...), all on the
// caller's thread.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "pxkit.h"
#include "simd/dispatch.h"

#ifdef PXKIT_BENCH_LIBYUV
#include <libyuv.h>
#endif
#ifdef PXKIT_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int kW = 1920, kH = 1080;

std::vector<std::uint8_t> pattern(std::size_t n) {
  std::vector<std::uint8_t> v(n);
  for (std::size_t i = 0; i < n; ++i) v[i] = static_cast<std::uint8_t>((i * 2654435761u) >> 13);
  return v;
}

// Limits pxkit to one target for the life of the object (kAllTargets: the best).
struct TargetScope {
  explicit TargetScope(std::int64_t t) { pxkit::simd::set_allowed_targets(t); }
  ~TargetScope() { pxkit::simd::set_allowed_targets(pxkit::simd::kAllTargets); }
};

struct Frame {
  std::vector<std::uint8_t> src0, src1, dst0, dst1, dst2;
  img_planes src{}, dst{};
};

// One pxkit conversion; `setup` sizes, the source planes sized for the format.
void pxkit_conversion(benchmark::State& state, std::int64_t target, int sw, int sh, int dw, int dh,
                      std::int32_t sf, std::uint32_t df) {
  TargetScope scope(target);
  const int bytes = sf == PXKIT_FORMAT_RGB24 ? 3 : 1;
  Frame f;
  f.src0 = pattern(std::size_t(sw) * sh * bytes);
  f.src1 = pattern(std::size_t(sw) * sh / 2);
  f.dst0.resize(std::size_t(dw) * dh);
  f.dst1.resize(std::size_t(dw / 2) * (dh / 2));
  f.dst2.resize(f.dst1.size());
  f.src = {{f.src0.data(), f.src1.data()}, {std::uint32_t(sw * bytes), std::uint32_t(sw)}};
  f.dst = {{f.dst0.data(), f.dst1.data(), f.dst2.data()},
           {std::uint32_t(dw), std::uint32_t(dw / 2), std::uint32_t(dw / 2)}};
  scale_color_conversion_ctx ctx{};
  if (setup_scale_color_conversion(&ctx, sw, sh, dw, dh, sf, df) != 0) {
    state.SkipWithError("setup failed");
    return;
  }
  for (auto _ : state) {
    do_scale_color_conversion(&ctx, &f.src, &f.dst);
    benchmark::DoNotOptimize(f.dst0.data());
    benchmark::ClobberMemory();
  }
  destroy_scale_color_conversion(&ctx);
}

// The rotated sampling grid of the bicubic case: 512 lines of 512 outputs at
// 25 degrees, step 1.5, inside a 1024 x 1024 image.
constexpr int kImage = 1024, kLines = 512, kCount = 512;
constexpr float kStep = 1.5f;
struct Grid {
  float c = kStep * std::cos(0.4363323f), s = kStep * std::sin(0.4363323f);
  float x0(int j) const { return 200.0f - s * static_cast<float>(j); }
  float y0(int j) const { return 100.0f + c * static_cast<float>(j); }
};

void pxkit_bicubic(benchmark::State& state, std::int64_t target) {
  TargetScope scope(target);
  const auto src = pattern(std::size_t(kImage) * kImage);
  std::vector<std::uint8_t> dst(std::size_t(kLines) * kCount);
  const Grid g;
  for (auto _ : state) {
    for (int j = 0; j < kLines; ++j) {
      scanline_bicubic_f32(src.data(), dst.data() + std::size_t(j) * kCount, kImage, kImage, kCount, -1,
                           g.x0(j), g.y0(j), g.c, g.s);
    }
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
}

void register_pxkit() {
  std::vector<std::pair<std::string, std::int64_t>> targets = {{"", pxkit::simd::kAllTargets},
                                                               {"/scalar", 0}};
  for (std::int64_t t : pxkit::simd::available_vector_targets())
    targets.emplace_back(std::string("/") + pxkit::simd::target_name(t), t);
  for (const auto& [suffix, t] : targets) {
    benchmark::RegisterBenchmark(("pxkit_rgb24_to_grey_1920x1080" + suffix).c_str(),
                                 [t = t](benchmark::State& s) {
                                   pxkit_conversion(s, t, kW, kH, kW, kH, PXKIT_FORMAT_RGB24, PXKIT_FORMAT_GREY);
                                 })->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark(("pxkit_rgb24_to_grey_960x540" + suffix).c_str(),
                                 [t = t](benchmark::State& s) {
                                   pxkit_conversion(s, t, kW, kH, 960, 540, PXKIT_FORMAT_RGB24, PXKIT_FORMAT_GREY);
                                 })->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark(("pxkit_nv12_to_i420_nearest_1280x720" + suffix).c_str(),
                                 [t = t](benchmark::State& s) {
                                   pxkit_conversion(s, t, kW, kH, 1280, 720, PXKIT_FORMAT_YUV420SP,
                                                    PXKIT_FORMAT_YUV420P);
                                 })->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark(("pxkit_bicubic_512_lines" + suffix).c_str(),
                                 [t = t](benchmark::State& s) { pxkit_bicubic(s, t); })
        ->Unit(benchmark::kMicrosecond);
  }
}

#ifdef PXKIT_BENCH_LIBYUV
void BM_libyuv_RAWToJ400_1920x1080(benchmark::State& state) {
  const auto src = pattern(std::size_t(kW) * kH * 3);
  std::vector<std::uint8_t> dst(std::size_t(kW) * kH);
  for (auto _ : state) {
    libyuv::RAWToJ400(src.data(), kW * 3, dst.data(), kW, kW, kH);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_libyuv_RAWToJ400_1920x1080)->Unit(benchmark::kMicrosecond);

void BM_libyuv_RAWToJ400_ScalePlane_960x540(benchmark::State& state) {
  const auto src = pattern(std::size_t(kW) * kH * 3);
  std::vector<std::uint8_t> grey(std::size_t(kW) * kH), dst(960 * 540);
  for (auto _ : state) {
    libyuv::RAWToJ400(src.data(), kW * 3, grey.data(), kW, kW, kH);
    libyuv::ScalePlane(grey.data(), kW, kW, kH, dst.data(), 960, 960, 540, libyuv::kFilterNone);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_libyuv_RAWToJ400_ScalePlane_960x540)->Unit(benchmark::kMicrosecond);

void BM_libyuv_NV12ToI420_I420Scale_none_1280x720(benchmark::State& state) {
  const auto y = pattern(std::size_t(kW) * kH), uv = pattern(std::size_t(kW) * kH / 2);
  std::vector<std::uint8_t> iy(std::size_t(kW) * kH), iu(std::size_t(kW) * kH / 4), iv(iu.size());
  std::vector<std::uint8_t> oy(1280 * 720), ou(640 * 360), ov(640 * 360);
  for (auto _ : state) {
    libyuv::NV12ToI420(y.data(), kW, uv.data(), kW, iy.data(), kW, iu.data(), kW / 2, iv.data(), kW / 2, kW, kH);
    libyuv::I420Scale(iy.data(), kW, iu.data(), kW / 2, iv.data(), kW / 2, kW, kH, oy.data(), 1280, ou.data(), 640,
                      ov.data(), 640, 1280, 720, libyuv::kFilterNone);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_libyuv_NV12ToI420_I420Scale_none_1280x720)->Unit(benchmark::kMicrosecond);
#endif

#ifdef PXKIT_BENCH_OPENCV
void BM_opencv_cvtColor_RGB2GRAY_1920x1080(benchmark::State& state) {
  cv::setNumThreads(static_cast<int>(state.range(0)));
  auto bytes = pattern(std::size_t(kW) * kH * 3);
  const cv::Mat src(kH, kW, CV_8UC3, bytes.data());
  cv::Mat dst(kH, kW, CV_8UC1);
  for (auto _ : state) cv::cvtColor(src, dst, cv::COLOR_RGB2GRAY);
  cv::setNumThreads(-1);
}
BENCHMARK(BM_opencv_cvtColor_RGB2GRAY_1920x1080)->Arg(1)->Arg(2)->ArgName("threads")->Unit(benchmark::kMicrosecond);

void BM_opencv_resize_nearest_cvtColor_960x540(benchmark::State& state) {
  cv::setNumThreads(static_cast<int>(state.range(0)));
  auto bytes = pattern(std::size_t(kW) * kH * 3);
  const cv::Mat src(kH, kW, CV_8UC3, bytes.data());
  cv::Mat small(540, 960, CV_8UC3), dst(540, 960, CV_8UC1);
  for (auto _ : state) {
    cv::resize(src, small, small.size(), 0, 0, cv::INTER_NEAREST);
    cv::cvtColor(small, dst, cv::COLOR_RGB2GRAY);
  }
  cv::setNumThreads(-1);
}
BENCHMARK(BM_opencv_resize_nearest_cvtColor_960x540)->Arg(1)->Arg(2)->ArgName("threads")->Unit(benchmark::kMicrosecond);

void BM_opencv_remap_cubic_512_lines(benchmark::State& state) {
  cv::setNumThreads(static_cast<int>(state.range(0)));
  auto bytes = pattern(std::size_t(kImage) * kImage);
  const cv::Mat src(kImage, kImage, CV_8UC1, bytes.data());
  cv::Mat mx(kLines, kCount, CV_32FC1), my(kLines, kCount, CV_32FC1), dst(kLines, kCount, CV_8UC1);
  const Grid g;
  for (int j = 0; j < kLines; ++j) {
    for (int k = 0; k < kCount; ++k) {
      mx.at<float>(j, k) = std::fma(static_cast<float>(k), g.c, g.x0(j));
      my.at<float>(j, k) = std::fma(static_cast<float>(k), g.s, g.y0(j));
    }
  }
  for (auto _ : state) cv::remap(src, dst, mx, my, cv::INTER_CUBIC, cv::BORDER_CONSTANT, cv::Scalar(0));
  cv::setNumThreads(-1);
}
BENCHMARK(BM_opencv_remap_cubic_512_lines)->Arg(1)->Arg(2)->ArgName("threads")->Unit(benchmark::kMicrosecond);
#endif

}  // namespace

int main(int argc, char** argv) {
  register_pxkit();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
