// Scharr analysis: s1 edge suppression at 640x480 (u16, f32; 1, 2, 4 threads)
// against a plain fused loop on one thread and, when installed, the OpenCV
// chain a user would write (Scharr x and y, absolute values, add, compare,
// setTo); the sparse gradient at 1280x720 (steps 2 and 4) against a plain loop
// over the same grid and OpenCV's full-resolution Scharr + convertScaleAbs.
// "scalar" rows run the library's portable reference kernels.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "pxkit.h"
#include "simd/dispatch.h"

#ifdef PXKIT_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int kW = 640, kH = 480;      // s1
constexpr int kGW = 1280, kGH = 720;   // sparse gradient
constexpr float kThresholdU16 = 4000.0f;
constexpr float kThresholdF32 = 2.0f;

// A depth-like map: smooth ramps with steps every 64 columns, some noise.
template <class T>
std::vector<T> depth_map() {
  std::vector<T> d(static_cast<std::size_t>(kW) * kH);
  std::uint32_t seed = 12345;
  for (int y = 0; y < kH; ++y) {
    for (int x = 0; x < kW; ++x) {
      seed = seed * 1664525u + 1013904223u;
      const double v = 1000 + 3 * y + 400 * ((x / 64) % 3) + (seed >> 28);
      d[static_cast<std::size_t>(y) * kW + x] = static_cast<T>(sizeof(T) == 4 ? v / 1000 : v);
    }
  }
  return d;
}

std::vector<std::uint8_t> picture() {
  std::vector<std::uint8_t> p(static_cast<std::size_t>(kGW) * kGH);
  for (std::size_t i = 0; i < p.size(); ++i) p[i] = static_cast<std::uint8_t>((i * 2654435761u) >> 24 ^ (i / kGW));
  return p;
}

// ---- s1 -----------------------------------------------------------------

template <class T>
void BM_s1(benchmark::State& state) {
  const auto threads = static_cast<std::uint32_t>(state.range(0));
  const bool scalar = state.range(1) != 0;
  pxkit::simd::set_allowed_targets(scalar ? 0 : pxkit::simd::kAllTargets);
  static void* contexts[2][5] = {};  // kept for the process: deinit leaves the workers running
  void*& ctx = contexts[scalar][threads];
  if (ctx == nullptr) ctx = init_sparse_scharr_s1_ctx(threads, kW, kH);
  pxkit::simd::set_allowed_targets(pxkit::simd::kAllTargets);
  const auto src = depth_map<T>();
  std::vector<T> dst(src.size());
  const std::uint32_t type = sizeof(T) == 4 ? SPARSE_SCHARR_S1_F32 : SPARSE_SCHARR_S1_U16;
  const float threshold = sizeof(T) == 4 ? kThresholdF32 : kThresholdU16;
  for (auto _ : state) {
    do_sparse_scharr_s1(ctx, src.data(), dst.data(), type, threshold);
    benchmark::DoNotOptimize(dst.data());
  }
  state.SetItemsProcessed(state.iterations() * kW * kH);
}

// What a user writes by hand: one pass, each pixel's sums from its 3x3 window.
template <class T>
void BM_s1_plain_loop(benchmark::State& state) {
  const auto src = depth_map<T>();
  std::vector<T> dst(src.size());
  using A = std::conditional_t<sizeof(T) == 4, float, std::int32_t>;
  const A threshold = static_cast<A>(sizeof(T) == 4 ? kThresholdF32 : kThresholdU16);
  for (auto _ : state) {
    std::fill(dst.begin(), dst.end(), T{0});
    for (int y = 1; y + 1 < kH; ++y) {
      const T* t = &src[static_cast<std::size_t>(y - 1) * kW];
      const T* m = t + kW;
      const T* b = m + kW;
      T* out = &dst[static_cast<std::size_t>(y) * kW];
      for (int x = 1; x + 1 < kW; ++x) {
        const A st = A(3) * (A(t[x - 1]) + A(t[x + 1])) + A(10) * A(t[x]);
        const A sb = A(3) * (A(b[x - 1]) + A(b[x + 1])) + A(10) * A(b[x]);
        const A gx = A(3) * ((A(t[x + 1]) - A(t[x - 1])) + (A(b[x + 1]) - A(b[x - 1]))) + A(10) * (A(m[x + 1]) - A(m[x - 1]));
        const A gy = sb - st;
        out[x] = (gx < 0 ? -gx : gx) + (gy < 0 ? -gy : gy) > threshold ? T{0} : m[x];
      }
    }
    benchmark::DoNotOptimize(dst.data());
  }
  state.SetItemsProcessed(state.iterations() * kW * kH);
}

#ifdef PXKIT_BENCH_OPENCV
template <class T>
void BM_s1_opencv(benchmark::State& state) {
  cv::setNumThreads(static_cast<int>(state.range(0)));
  auto data = depth_map<T>();
  const cv::Mat src(kH, kW, sizeof(T) == 4 ? CV_32F : CV_16U, data.data());
  cv::Mat gx, gy, sum, mask, dst;
  const double threshold = sizeof(T) == 4 ? kThresholdF32 : kThresholdU16;
  for (auto _ : state) {
    cv::Scharr(src, gx, CV_32F, 1, 0);
    cv::Scharr(src, gy, CV_32F, 0, 1);
    cv::absdiff(gx, cv::Scalar::all(0), gx);
    cv::absdiff(gy, cv::Scalar::all(0), gy);
    cv::add(gx, gy, sum);
    cv::compare(sum, threshold, mask, cv::CMP_GT);
    src.copyTo(dst);
    dst.setTo(0, mask);
    benchmark::DoNotOptimize(dst.data);
  }
  state.SetItemsProcessed(state.iterations() * kW * kH);
}
#endif

// ---- sparse gradient ----------------------------------------------------

const std::vector<std::uint8_t>& code_table() {
  static const std::vector<std::uint8_t> t = [] {
    std::vector<std::uint8_t> v(512 * 512);
    for (std::size_t i = 0; i < v.size(); ++i) v[i] = static_cast<std::uint8_t>(i % 8);
    return v;
  }();
  return t;
}

void BM_sparse(benchmark::State& state) {
  const int step = static_cast<int>(state.range(0));
  pxkit::simd::set_allowed_targets(state.range(1) != 0 ? 0 : pxkit::simd::kAllTargets);
  const auto pic = picture();
  sparse_scharr_ctx ctx;
  init_sparse_scharr_ctx(&ctx, kGW, kGH, step);
  std::vector<std::uint8_t> mag(static_cast<std::size_t>(kGW) * kGH), code(mag.size());
  for (auto _ : state) {
    do_sparse_scharr(&ctx, code_table().data(), pic.data(), mag.data(), code.data());
    benchmark::DoNotOptimize(mag.data());
  }
  deinit_sparse_scharr_ctx(&ctx);
  pxkit::simd::set_allowed_targets(pxkit::simd::kAllTargets);
  state.SetItemsProcessed(state.iterations() * (kGW / step) * (kGH / step));
}

// The same grid by hand: each point's 3x3 window read from the image.
void BM_sparse_plain_loop(benchmark::State& state) {
  const int step = static_cast<int>(state.range(0));
  const auto pic = picture();
  const std::uint8_t* table = code_table().data();
  std::vector<std::uint8_t> mag(static_cast<std::size_t>(kGW) * kGH), code(mag.size());
  const int sw = kGW / step, limit = kGH / step * step - 1;
  for (auto _ : state) {
    std::size_t o = 0;
    for (int r = 1; r < limit; r += step) {
      const std::uint8_t* t = &pic[static_cast<std::size_t>(r - 1) * kGW];
      const std::uint8_t* m = t + kGW;
      const std::uint8_t* b = m + kGW;
      for (int j = 0; j < sw; ++j, ++o) {
        const int c = j * step;
        const int l = c == 0 ? c + 1 : c - 1, rr = c + 1 < kGW ? c + 1 : c - 1;
        const int gy = ((3 * (b[l] + b[rr]) + 10 * b[c]) - (3 * (t[l] + t[rr]) + 10 * t[c])) >> 4;
        const int gx = (3 * ((t[rr] - t[l]) + (b[rr] - b[l])) + 10 * (m[rr] - m[l])) >> 4;
        mag[o] = static_cast<std::uint8_t>(std::min(std::abs(gx) + std::abs(gy), 255));
        code[o] = table[(gy + 256) * 512 + gx + 256];
      }
    }
    benchmark::DoNotOptimize(mag.data());
  }
  state.SetItemsProcessed(state.iterations() * sw * (kGH / step));
}

#ifdef PXKIT_BENCH_OPENCV
void BM_sparse_opencv_full(benchmark::State& state) {
  cv::setNumThreads(1);
  auto data = picture();
  const cv::Mat src(kGH, kGW, CV_8U, data.data());
  cv::Mat dx, dy, ax, ay, mag;
  for (auto _ : state) {
    cv::Scharr(src, dx, CV_16S, 1, 0);
    cv::Scharr(src, dy, CV_16S, 0, 1);
    cv::convertScaleAbs(dx, ax, 1.0 / 16);
    cv::convertScaleAbs(dy, ay, 1.0 / 16);
    cv::add(ax, ay, mag);
    benchmark::DoNotOptimize(mag.data);
  }
  state.SetItemsProcessed(state.iterations() * kGW * kGH);
}
#endif

void ThreadArgs(benchmark::internal::Benchmark* b) {
  for (const int threads : {1, 2, 4}) b->Args({threads, 0});
  b->Args({1, 1});  // scalar reference, one thread
  b->ArgNames({"threads", "scalar"})->UseRealTime();
}

BENCHMARK(BM_s1<std::uint16_t>)->Apply(ThreadArgs);
BENCHMARK(BM_s1<float>)->Apply(ThreadArgs);
BENCHMARK(BM_s1_plain_loop<std::uint16_t>)->UseRealTime();
BENCHMARK(BM_s1_plain_loop<float>)->UseRealTime();
#ifdef PXKIT_BENCH_OPENCV
BENCHMARK(BM_s1_opencv<std::uint16_t>)->Arg(1)->Arg(2)->ArgName("threads")->UseRealTime();
BENCHMARK(BM_s1_opencv<float>)->Arg(1)->Arg(2)->ArgName("threads")->UseRealTime();
#endif
BENCHMARK(BM_sparse)->Args({2, 0})->Args({4, 0})->Args({2, 1})->Args({4, 1})->ArgNames({"step", "scalar"});
BENCHMARK(BM_sparse_plain_loop)->Arg(2)->Arg(4)->ArgName("step");
#ifdef PXKIT_BENCH_OPENCV
BENCHMARK(BM_sparse_opencv_full);
#endif

}  // namespace

BENCHMARK_MAIN();
