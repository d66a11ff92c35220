// Dense solve of n x n f32 systems (diagonally dominant, well conditioned):
// solve_f32 in place (the matrix restored by a copy each time, as LAPACK's
// in-place sgesv needs too) and in copy mode, against Eigen's PartialPivLU
// (fixed size for small n, dynamic size), LAPACKE_sgesv on one thread and
// cv::solve(DECOMP_LU), each where installed.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "pxkit.h"

#ifdef PXKIT_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif
#ifdef PXKIT_BENCH_EIGEN
#include <Eigen/Dense>
#endif
#ifdef PXKIT_BENCH_LAPACKE
#include <lapacke.h>
// OpenBLAS's thread control, when the LAPACK in use is OpenBLAS.
extern "C" void openblas_set_num_threads(int) __attribute__((weak));
#endif

namespace {

struct System {
  std::vector<float> a, b;
};

System make_system(std::size_t n) {
  System s{std::vector<float>(n * n), std::vector<float>(n)};
  std::uint32_t state = 12345u;
  auto next = [&] {
    state = state * 1664525u + 1013904223u;
    return static_cast<float>(state >> 8) / 16777216.0f - 0.5f;
  };
  for (float& v : s.a) v = next();
  for (std::size_t i = 0; i < n; ++i) s.a[i * n + i] += static_cast<float>(n);
  for (float& v : s.b) v = next() * 100.0f;
  return s;
}

void BM_SolveInPlace(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const System s = make_system(n);
  std::vector<float> work(n * n), x(n);
  for (auto _ : state) {
    std::memcpy(work.data(), s.a.data(), n * n * sizeof(float));
    solve_f32(work.data(), x.data(), s.b.data(), static_cast<std::int32_t>(n), 1);
    benchmark::DoNotOptimize(x.data());
  }
}

void BM_SolveCopyMode(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  System s = make_system(n);
  std::vector<float> x(n);
  for (auto _ : state) {
    solve_f32(s.a.data(), x.data(), s.b.data(), static_cast<std::int32_t>(n), 0);
    benchmark::DoNotOptimize(x.data());
  }
}

#define PXKIT_SIZES ->Arg(4)->Arg(8)->Arg(16)->Arg(64)->Arg(256)->Arg(512)
BENCHMARK(BM_SolveInPlace) PXKIT_SIZES;
BENCHMARK(BM_SolveCopyMode) PXKIT_SIZES;

#ifdef PXKIT_BENCH_EIGEN
void BM_EigenDynamic(benchmark::State& state) {
  const auto n = static_cast<Eigen::Index>(state.range(0));
  const System s = make_system(static_cast<std::size_t>(n));
  const Eigen::MatrixXf a = Eigen::Map<const Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>>(s.a.data(), n, n);
  const Eigen::VectorXf b = Eigen::Map<const Eigen::VectorXf>(s.b.data(), n);
  Eigen::PartialPivLU<Eigen::MatrixXf> lu(n);
  Eigen::VectorXf x(n);
  for (auto _ : state) {
    lu.compute(a);
    x = lu.solve(b);
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(BM_EigenDynamic) PXKIT_SIZES;

template <int N>
void BM_EigenFixed(benchmark::State& state) {
  const System s = make_system(N);
  const Eigen::Matrix<float, N, N> a = Eigen::Map<const Eigen::Matrix<float, N, N, Eigen::RowMajor>>(s.a.data());
  const Eigen::Matrix<float, N, 1> b = Eigen::Map<const Eigen::Matrix<float, N, 1>>(s.b.data());
  Eigen::PartialPivLU<Eigen::Matrix<float, N, N>> lu;
  Eigen::Matrix<float, N, 1> x;
  for (auto _ : state) {
    lu.compute(a);
    x = lu.solve(b);
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK_TEMPLATE(BM_EigenFixed, 4);
BENCHMARK_TEMPLATE(BM_EigenFixed, 8);
BENCHMARK_TEMPLATE(BM_EigenFixed, 16);
#endif

#ifdef PXKIT_BENCH_LAPACKE
void BM_LapackeSgesv(benchmark::State& state) {
  if (openblas_set_num_threads != nullptr) openblas_set_num_threads(1);
  const auto n = static_cast<lapack_int>(state.range(0));
  const System s = make_system(static_cast<std::size_t>(n));
  std::vector<float> work(s.a.size()), x(s.b.size());
  std::vector<lapack_int> pivots(static_cast<std::size_t>(n));
  for (auto _ : state) {
    std::memcpy(work.data(), s.a.data(), work.size() * sizeof(float));
    std::memcpy(x.data(), s.b.data(), x.size() * sizeof(float));
    LAPACKE_sgesv(LAPACK_ROW_MAJOR, n, 1, work.data(), n, pivots.data(), x.data(), 1);
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(BM_LapackeSgesv) PXKIT_SIZES;
#endif

#ifdef PXKIT_BENCH_OPENCV
void BM_OpenCvSolveLu(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  System s = make_system(static_cast<std::size_t>(n));
  const cv::Mat a(n, n, CV_32F, s.a.data()), b(n, 1, CV_32F, s.b.data());
  cv::Mat x;
  cv::setNumThreads(1);
  for (auto _ : state) {
    cv::solve(a, b, x, cv::DECOMP_LU);
    benchmark::DoNotOptimize(x.data);
  }
}
BENCHMARK(BM_OpenCvSolveLu) PXKIT_SIZES;
#endif

}  // namespace

BENCHMARK_MAIN();
