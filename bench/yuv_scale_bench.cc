// NV12 1920x1080 -> I420 1280x720 in one pass (bilinear and area, whole frame
// and in 16-row bands) against what users would otherwise call: libyuv's
// NV12ToI420 + I420Scale (bilinear, box) and OpenCV's resize of the luma and
// the interleaved chroma plus split (INTER_LINEAR, INTER_AREA), each when
// installed. OpenCV runs with its default threads and with one thread.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <vector>

#include "pxkit.h"

#ifdef PXKIT_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif
#ifdef PXKIT_BENCH_LIBYUV
#include <libyuv.h>
#endif

namespace {

constexpr int kSrcW = 1920, kSrcH = 1080, kDstW = 1280, kDstH = 720;

// A synthetic NV12 frame with one spare row and column (read when up-scaling;
// never here, but the library documents it).
struct Nv12 {
  std::vector<std::uint8_t> y, uv;
  Nv12() : y(std::size_t{kSrcW + 1} * (kSrcH + 1)), uv(std::size_t{kSrcW + 2} * (kSrcH / 2 + 1)) {
    for (std::size_t i = 0; i < y.size(); ++i) y[i] = static_cast<std::uint8_t>(i * 7 + i / 1921);
    for (std::size_t i = 0; i < uv.size(); ++i) uv[i] = static_cast<std::uint8_t>(i * 13 + i / 977);
  }
  img_planes planes() {
    img_planes p{};
    p.plane[0] = y.data();
    p.plane[1] = uv.data();
    p.stride[0] = kSrcW + 1;
    p.stride[1] = kSrcW + 2;
    return p;
  }
};

struct I420 {
  std::vector<std::uint8_t> y, u, v;
  I420(int w, int h)
      : y(std::size_t(w) * h), u(std::size_t(w / 2) * (h / 2)), v(std::size_t(w / 2) * (h / 2)) {}
};

void* quiet_create(std::uint32_t method, std::uint32_t flags) {
  std::fflush(stdout);
  const int saved = dup(STDOUT_FILENO);
  const int null = open("/dev/null", O_WRONLY);
  dup2(null, STDOUT_FILENO);
  close(null);
  void* ctx = create_img_scale_ctx(kSrcW, kSrcH, kDstW, kDstH, PXKIT_FORMAT_YUV420SP,
                                   PXKIT_FORMAT_YUV420P, method, flags);
  std::fflush(stdout);
  dup2(saved, STDOUT_FILENO);
  close(saved);
  return ctx;
}

void set_pixels(benchmark::State& state) {
  state.counters["Mpix/s"] = benchmark::Counter(double(kDstW) * kDstH * double(state.iterations()),
                                                benchmark::Counter::kIsRate);
}

// range(0): method (2 bilinear, 3 area); range(1): 1 = banded.
void BM_Pxkit(benchmark::State& state) {
  const auto method = static_cast<std::uint32_t>(state.range(0));
  const bool banded = state.range(1) != 0;
  Nv12 src;
  I420 dst(kDstW, kDstH);
  void* ctx = quiet_create(method, banded ? PXKIT_SCALE_FLAG_BANDED : 0);
  const img_planes in = src.planes();
  for (auto _ : state) {
    for (int row = 0; row < kDstH; row += banded ? 16 : kDstH) {
      img_planes out{};
      out.plane[0] = dst.y.data() + std::size_t(row) * kDstW;
      out.plane[1] = dst.u.data() + std::size_t(row / 2) * (kDstW / 2);
      out.plane[2] = dst.v.data() + std::size_t(row / 2) * (kDstW / 2);
      out.stride[0] = kDstW;
      out.stride[1] = out.stride[2] = kDstW / 2;
      img_scale(ctx, &in, &out);
    }
    benchmark::DoNotOptimize(dst.y.data());
  }
  destroy_img_scale_ctx(ctx);
  set_pixels(state);
}
BENCHMARK(BM_Pxkit)->ArgNames({"method", "banded"})->Args({2, 0})->Args({2, 1})->Args({3, 0})->Args({3, 1})->Unit(benchmark::kMicrosecond);

#ifdef PXKIT_BENCH_LIBYUV
// range(0): 0 = kFilterBilinear, 1 = kFilterBox.
void BM_LibyuvNv12ToI420Scale(benchmark::State& state) {
  const libyuv::FilterMode filter = state.range(0) ? libyuv::kFilterBox : libyuv::kFilterBilinear;
  Nv12 src;
  I420 mid(kSrcW, kSrcH), dst(kDstW, kDstH);
  for (auto _ : state) {
    libyuv::NV12ToI420(src.y.data(), kSrcW + 1, src.uv.data(), kSrcW + 2, mid.y.data(), kSrcW,
                       mid.u.data(), kSrcW / 2, mid.v.data(), kSrcW / 2, kSrcW, kSrcH);
    libyuv::I420Scale(mid.y.data(), kSrcW, mid.u.data(), kSrcW / 2, mid.v.data(), kSrcW / 2, kSrcW,
                      kSrcH, dst.y.data(), kDstW, dst.u.data(), kDstW / 2, dst.v.data(), kDstW / 2,
                      kDstW, kDstH, filter);
    benchmark::DoNotOptimize(dst.y.data());
  }
  set_pixels(state);
}
BENCHMARK(BM_LibyuvNv12ToI420Scale)->ArgNames({"box"})->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
#endif

#ifdef PXKIT_BENCH_OPENCV
// range(0): 0 = INTER_LINEAR, 1 = INTER_AREA; range(1): OpenCV threads (0 = its default).
void BM_OpenCvResizeSplit(benchmark::State& state) {
  const int interpolation = state.range(0) ? cv::INTER_AREA : cv::INTER_LINEAR;
  const int saved_threads = cv::getNumThreads();
  if (state.range(1) != 0) cv::setNumThreads(static_cast<int>(state.range(1)));
  Nv12 src;
  const cv::Mat y(kSrcH, kSrcW, CV_8UC1, src.y.data(), kSrcW + 1);
  const cv::Mat uv(kSrcH / 2, kSrcW / 2, CV_8UC2, src.uv.data(), kSrcW + 2);
  cv::Mat dy(kDstH, kDstW, CV_8UC1), duv(kDstH / 2, kDstW / 2, CV_8UC2);
  cv::Mat du(kDstH / 2, kDstW / 2, CV_8UC1), dv(kDstH / 2, kDstW / 2, CV_8UC1);
  for (auto _ : state) {
    cv::resize(y, dy, dy.size(), 0, 0, interpolation);
    cv::resize(uv, duv, duv.size(), 0, 0, interpolation);
    cv::Mat planes[2] = {du, dv};
    cv::split(duv, planes);
    benchmark::DoNotOptimize(dy.data);
  }
  cv::setNumThreads(saved_threads);
  set_pixels(state);
}
BENCHMARK(BM_OpenCvResizeSplit)->ArgNames({"area", "threads"})->Args({0, 0})->Args({0, 1})->Args({1, 0})->Args({1, 1})->Unit(benchmark::kMicrosecond);
#endif

}  // namespace

BENCHMARK_MAIN();
