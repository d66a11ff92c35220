// Perspective crop, 1920x1080 grey source -> 512x512 upright destination:
// the single call, the pooled call on 1, 2 and 4 threads, the pooled call's
// stripe kernel on the caller's thread alone, and, when installed, OpenCV's
// warpPerspective (INTER_LINEAR, inverse map) on 1 and 2 threads.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "analysis/crop_context.h"
#include "pxkit.h"

#ifdef PXKIT_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr std::uint32_t kSrcW = 1920, kSrcH = 1080, kDst = 512;

// Destination (X, Y) -> a tilted quad in the middle of the source, den 1.0 at
// the origin and close to it elsewhere.
const float kMatrix[9] = {1.30f,  0.25f, 500.0f,  //
                          -0.20f, 1.20f, 200.0f,  //
                          0.00012f, 0.00008f, 1.0f};

std::vector<std::uint8_t> source() {
  std::vector<std::uint8_t> v(std::size_t{kSrcW} * kSrcH);
  for (std::size_t i = 0; i < v.size(); ++i) v[i] = static_cast<std::uint8_t>((i * 2654435761u) >> 24);
  return v;
}

void set_pixels(benchmark::State& state) {
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * kDst * kDst);
}

void BM_CropSingleCall(benchmark::State& state) {
  std::vector<std::uint8_t> src = source(), dst(std::size_t{kDst} * kDst);
  const datacode_image s{kSrcW, kSrcH, kSrcW, src.data()}, d{kDst, kDst, kDst, dst.data()};
  for (auto _ : state) {
    datacode_bili_inter_crop_u8(&s, &d, kMatrix, 0, 0);
    benchmark::DoNotOptimize(dst.data());
  }
  set_pixels(state);
}

void BM_CropPooled(benchmark::State& state) {
  std::vector<std::uint8_t> src = source(), dst(std::size_t{kDst} * kDst);
  const datacode_image s{kSrcW, kSrcH, kSrcW, src.data()}, d{kDst, kDst, kDst, dst.data()};
  void* ctx = create_datacode_bili_inter_crop_ctx(static_cast<std::int32_t>(state.range(0)), &s, &d,
                                                  kMatrix, 0, 0);
  for (auto _ : state) {
    datacode_bili_inter_crop_parallel_u8(ctx);
    benchmark::DoNotOptimize(dst.data());
  }
  destroy_datacode_bili_inter_crop_ctx(ctx);
  set_pixels(state);
}

// The pooled call's kernel over all rows on this thread: the baseline of its scaling.
void BM_CropStripeKernelAlone(benchmark::State& state) {
  std::vector<std::uint8_t> src = source(), dst(std::size_t{kDst} * kDst);
  const datacode_image s{kSrcW, kSrcH, kSrcW, src.data()}, d{kDst, kDst, kDst, dst.data()};
  auto* ctx = static_cast<pxkit::analysis::datacode_crop_ctx*>(
      create_datacode_bili_inter_crop_ctx(1, &s, &d, kMatrix, 0, 0));
  const pxkit::thread_pool_task& task = ctx->stripes[0].task;
  for (auto _ : state) {
    task.func(task.arg0, task.arg1);
    benchmark::DoNotOptimize(dst.data());
  }
  destroy_datacode_bili_inter_crop_ctx(ctx);
  set_pixels(state);
}

BENCHMARK(BM_CropSingleCall)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_CropStripeKernelAlone)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_CropPooled)->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMicrosecond)->UseRealTime();

#ifdef PXKIT_BENCH_OPENCV
void BM_OpenCvWarpPerspective(benchmark::State& state) {
  std::vector<std::uint8_t> src = source();
  const cv::Mat s(static_cast<int>(kSrcH), static_cast<int>(kSrcW), CV_8UC1, src.data());
  cv::Mat d(static_cast<int>(kDst), static_cast<int>(kDst), CV_8UC1);
  // The same map in OpenCV's terms: destination (x, y) -> source, x = X - 1.
  cv::Mat m(3, 3, CV_64F);
  for (int r = 0; r < 3; ++r) {
    m.at<double>(r, 0) = kMatrix[r * 3 + 0];
    m.at<double>(r, 1) = kMatrix[r * 3 + 1];
    m.at<double>(r, 2) = kMatrix[r * 3 + 0] + kMatrix[r * 3 + 1] + kMatrix[r * 3 + 2];
  }
  const int before = cv::getNumThreads();
  cv::setNumThreads(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    cv::warpPerspective(s, d, m, d.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                        cv::BORDER_CONSTANT, cv::Scalar(0));
    benchmark::DoNotOptimize(d.data);
  }
  cv::setNumThreads(before);
  set_pixels(state);
}
BENCHMARK(BM_OpenCvWarpPerspective)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();
#endif

}  // namespace

BENCHMARK_MAIN();
