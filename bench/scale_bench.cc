// Bilinear scaling of u16 and f32 images, 1920x1080 -> 1280x720 and
// 640x480 -> 1280x960: the public call (caller's thread, best vector target),
// the scalar reference, and, when installed, OpenCV's resize(INTER_LINEAR)
// on one thread and on its default number of threads.
// items_per_second counts output pixels.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "pxkit.h"
#include "simd/dispatch.h"

#ifdef PXKIT_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

struct Case {
  std::uint32_t sw, sh, dw, dh;
};
constexpr Case kCases[] = {{1920, 1080, 1280, 720}, {640, 480, 1280, 960}};

template <class T>
std::vector<T> image(const Case& c) {
  std::vector<T> v(std::size_t{c.sw} * c.sh);
  for (std::size_t i = 0; i < v.size(); ++i) {
    // Ramps with some texture, in a depth sensor's range (millimetres).
    const std::size_t ramp = ((i % c.sw) * 13 + (i / c.sw) * 7) % 8000;
    v[i] = static_cast<T>(ramp + ((i * 2654435761u) >> 11 & 31));
  }
  return v;
}

void set_items(benchmark::State& state, const Case& c) {
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * c.dw * c.dh);
  state.SetLabel(std::to_string(c.sw) + "x" + std::to_string(c.sh) + " -> " + std::to_string(c.dw) + "x" +
                 std::to_string(c.dh));
}

// The public call; `vector` false restricts the context to the scalar reference.
template <class T>
void BM_Pxkit(benchmark::State& state, bool vector) {
  const Case& c = kCases[state.range(0)];
  const std::vector<T> in = image<T>(c);
  std::vector<T> out(std::size_t{c.dw} * c.dh);
  if (!vector) pxkit::simd::set_allowed_targets(0);
  void* ctx = create_common_img_scale_ctx(c.sw, c.sw * sizeof(T), c.sh, c.dw, c.dw * sizeof(T), c.dh,
                                          PXKIT_SCALE_METHOD_BILINEAR,
                                          sizeof(T) == 2 ? PXKIT_SCALE_DATA_U16 : PXKIT_SCALE_DATA_F32);
  pxkit::simd::set_allowed_targets(pxkit::simd::kAllTargets);
  if (ctx == nullptr) {
    state.SkipWithError("create_common_img_scale_ctx failed");
    return;
  }
  for (auto _ : state) {
    common_img_scale(ctx, in.data(), out.data());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  destroy_common_img_scale_ctx(ctx);
  set_items(state, c);
}

void BM_PxkitU16(benchmark::State& state) { BM_Pxkit<std::uint16_t>(state, true); }
void BM_PxkitF32(benchmark::State& state) { BM_Pxkit<float>(state, true); }
void BM_PxkitScalarU16(benchmark::State& state) { BM_Pxkit<std::uint16_t>(state, false); }
void BM_PxkitScalarF32(benchmark::State& state) { BM_Pxkit<float>(state, false); }
BENCHMARK(BM_PxkitU16)->DenseRange(0, 1);
BENCHMARK(BM_PxkitF32)->DenseRange(0, 1);
BENCHMARK(BM_PxkitScalarU16)->DenseRange(0, 1);
BENCHMARK(BM_PxkitScalarF32)->DenseRange(0, 1);

#ifdef PXKIT_BENCH_OPENCV
// cv::resize(INTER_LINEAR); threads = 1, or 0 for OpenCV's default.
template <class T>
void BM_OpenCv(benchmark::State& state, int threads) {
  const Case& c = kCases[state.range(0)];
  std::vector<T> in = image<T>(c);
  std::vector<T> out(std::size_t{c.dw} * c.dh);
  const int type = sizeof(T) == 2 ? CV_16UC1 : CV_32FC1;
  const cv::Mat src(static_cast<int>(c.sh), static_cast<int>(c.sw), type, in.data());
  cv::Mat dst(static_cast<int>(c.dh), static_cast<int>(c.dw), type, out.data());
  const int saved = cv::getNumThreads();
  cv::setNumThreads(threads == 0 ? -1 : threads);
  state.counters["threads"] = cv::getNumThreads();
  for (auto _ : state) {
    cv::resize(src, dst, dst.size(), 0, 0, cv::INTER_LINEAR);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  cv::setNumThreads(saved);
  set_items(state, c);
}

void BM_OpenCvU16_1Thread(benchmark::State& state) { BM_OpenCv<std::uint16_t>(state, 1); }
void BM_OpenCvF32_1Thread(benchmark::State& state) { BM_OpenCv<float>(state, 1); }
void BM_OpenCvU16_DefaultThreads(benchmark::State& state) { BM_OpenCv<std::uint16_t>(state, 0); }
void BM_OpenCvF32_DefaultThreads(benchmark::State& state) { BM_OpenCv<float>(state, 0); }
BENCHMARK(BM_OpenCvU16_1Thread)->DenseRange(0, 1);
BENCHMARK(BM_OpenCvF32_1Thread)->DenseRange(0, 1);
BENCHMARK(BM_OpenCvU16_DefaultThreads)->DenseRange(0, 1)->UseRealTime();
BENCHMARK(BM_OpenCvF32_DefaultThreads)->DenseRange(0, 1)->UseRealTime();
#endif

}  // namespace

BENCHMARK_MAIN();
