// Fixed-point <-> float conversion at 1M and 16M elements: the single-threaded
// kernel chosen at setup, the pooled public call, memcpy of the same output
// bytes as the bandwidth reference and, when installed, OpenCV's
// Mat::convertTo for int16 -> f32 and f32 -> int16 (which rounds to nearest
// and saturates where pxkit truncates and wraps: the same traffic, not the
// same result).
// bytes_per_second counts bytes read plus bytes written (memcpy: 2 x size).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "convert/convert_kernels.h"
#include "pxkit.h"

#ifdef PXKIT_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

constexpr std::uint8_t kMantissa = 8;
constexpr float kFactor = 256.0f;

// Runs `fn` with standard output silenced (setups print their options).
template <class Fn>
auto quietly(Fn fn) {
  std::fflush(stdout);
  const int saved = dup(STDOUT_FILENO);
  const int null = open("/dev/null", O_WRONLY);
  dup2(null, STDOUT_FILENO);
  close(null);
  auto result = fn();
  std::fflush(stdout);
  dup2(saved, STDOUT_FILENO);
  close(saved);
  return result;
}

template <class T>
std::vector<T> fixed_input(std::size_t n) {
  std::vector<T> v(n);
  for (std::size_t i = 0; i < n; ++i) v[i] = static_cast<T>(i * 2654435761u);
  return v;
}

std::vector<float> float_input(std::size_t n) {
  std::vector<float> v(n);
  for (std::size_t i = 0; i < n; ++i) v[i] = static_cast<float>(i % 1000) * 0.37f - 150.0f;
  return v;
}

void set_bytes(benchmark::State& state, std::size_t bytes_per_iteration) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes_per_iteration));
}

// The signed kernel of the best target, as a setup would choose it.
// The chosen stripe kernel run over the whole array as one stripe, on this thread.
void run_kernel(bool to_float, std::size_t size, const void* src, void* dst, std::int32_t n) {
  const int i = pxkit::convert::convert_kernel_index(to_float, true, static_cast<unsigned>(size * 8));
  const pxkit::convert::fixed_float_stripe whole{src, dst, n, kFactor, {}, 0};
  pxkit::convert::active_convert_kernels()[static_cast<std::size_t>(i)](reinterpret_cast<std::uintptr_t>(&whole), 0);
}

template <class T>
void BM_FixedToFloatKernel(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const std::vector<T> in = fixed_input<T>(n);
  std::vector<float> out(n);
  for (auto _ : state) {
    run_kernel(true, sizeof(T), in.data(), out.data(), static_cast<std::int32_t>(n));
    benchmark::DoNotOptimize(out.data());
  }
  set_bytes(state, n * (sizeof(T) + sizeof(float)));
}

template <class T>
void BM_FloatToFixedKernel(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const std::vector<float> in = float_input(n);
  std::vector<T> out(n);
  for (auto _ : state) {
    run_kernel(false, sizeof(T), in.data(), out.data(), static_cast<std::int32_t>(n));
    benchmark::DoNotOptimize(out.data());
  }
  set_bytes(state, n * (sizeof(T) + sizeof(float)));
}

template <class T>
void BM_FixedToFloatPool(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const std::vector<T> in = fixed_input<T>(n);
  std::vector<float> out(n);
  const fixed_float_option option{1, sizeof(T) * 8, kMantissa};
  fixed_float_context* ctx = quietly([&] { return setup_fixed2float_context(&option); });
  for (auto _ : state) {
    fixed2float(ctx, static_cast<std::uint32_t>(n), in.data(), out.data());
    benchmark::DoNotOptimize(out.data());
  }
  destroy_fixed2float_context(ctx);
  set_bytes(state, n * (sizeof(T) + sizeof(float)));
}

template <class T>
void BM_FloatToFixedPool(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const std::vector<float> in = float_input(n);
  std::vector<T> out(n);
  const fixed_float_option option{1, sizeof(T) * 8, kMantissa};
  fixed_float_context* ctx = quietly([&] { return setup_float2fixed_context(&option); });
  for (auto _ : state) {
    float2fixed(ctx, static_cast<std::uint32_t>(n), in.data(), out.data());
    benchmark::DoNotOptimize(out.data());
  }
  destroy_fixed2float_context(ctx);
  set_bytes(state, n * (sizeof(T) + sizeof(float)));
}

// memcpy of `range(0)` bytes: the single-threaded bandwidth reference.
void BM_Memcpy(benchmark::State& state) {
  const auto bytes = static_cast<std::size_t>(state.range(0));
  std::vector<unsigned char> src(bytes, 1), dst(bytes);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), bytes);
    benchmark::DoNotOptimize(dst.data());
  }
  set_bytes(state, 2 * bytes);
}

#ifdef PXKIT_BENCH_OPENCV
void BM_OpenCvInt16ToFloat(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  const std::vector<std::int16_t> in = fixed_input<std::int16_t>(static_cast<std::size_t>(n));
  // cv::Mat takes a mutable pointer; convertTo only reads it.
  const cv::Mat src(1, n, CV_16S, const_cast<std::int16_t*>(in.data()));
  cv::Mat dst(1, n, CV_32F);
  for (auto _ : state) {
    src.convertTo(dst, CV_32F, 1.0 / kFactor);
    benchmark::DoNotOptimize(dst.data);
  }
  set_bytes(state, static_cast<std::size_t>(n) * (sizeof(std::int16_t) + sizeof(float)));
}

void BM_OpenCvFloatToInt16(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  const std::vector<float> in = float_input(static_cast<std::size_t>(n));
  const cv::Mat src(1, n, CV_32F, const_cast<float*>(in.data()));
  cv::Mat dst(1, n, CV_16S);
  for (auto _ : state) {
    src.convertTo(dst, CV_16S, kFactor);
    benchmark::DoNotOptimize(dst.data);
  }
  set_bytes(state, static_cast<std::size_t>(n) * (sizeof(std::int16_t) + sizeof(float)));
}
#endif

constexpr std::int64_t kSizes[] = {1 << 20, 1 << 24};  // 1,048,576 and 16,777,216 elements

void add(const std::string& name, void (*fn)(benchmark::State&), std::int64_t arg) {
  benchmark::RegisterBenchmark(name.c_str(), fn)
      ->Arg(arg)
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
}

template <class T>
void add_to_float(const std::string& name, std::int64_t n) {
  add(name + "_kernel", BM_FixedToFloatKernel<T>, n);
  add(name + "_pool", BM_FixedToFloatPool<T>, n);
}

template <class T>
void add_to_fixed(const std::string& name, std::int64_t n) {
  add(name + "_kernel", BM_FloatToFixedKernel<T>, n);
  add(name + "_pool", BM_FloatToFixedPool<T>, n);
}

// Each conversion follows the memcpy of its output bytes.
void add_all() {
  for (std::int64_t n : {std::int64_t{1} << 20, std::int64_t{1} << 24}) {
    add("memcpy", BM_Memcpy, 4 * n);  // fixed2float output, and float2fixed to 32-bit
    add_to_float<std::int8_t>("s8_to_f32", n);
    add_to_float<std::int16_t>("s16_to_f32", n);
    add_to_float<std::int32_t>("s32_to_f32", n);
#ifdef PXKIT_BENCH_OPENCV
    add("opencv_s16_to_f32", BM_OpenCvInt16ToFloat, n);
#endif
    add_to_fixed<std::int32_t>("f32_to_s32", n);
    add("memcpy", BM_Memcpy, 2 * n);
    add_to_fixed<std::int16_t>("f32_to_s16", n);
#ifdef PXKIT_BENCH_OPENCV
    add("opencv_f32_to_s16", BM_OpenCvFloatToInt16, n);
#endif
    add("memcpy", BM_Memcpy, n);
    add_to_fixed<std::int8_t>("f32_to_s8", n);
  }
}

}  // namespace

int main(int argc, char** argv) {
  add_all();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
