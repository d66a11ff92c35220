// Dual-frequency decoding at 320x240, 640x480 and 1280x960: the library's
// stripe kernels (scalar reference and vector, on one thread and through the
// pool) against a plain loop with atan2f and the same brute-force search
// written the obvious way. Every layout, pair of multiples and target is timed
// at 640x480; the other sizes time the plain layout with m0 3, m1 2.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "pxkit.h"
#include "simd/dispatch.h"
#include "tof/dual_context.h"

namespace {

struct Size {
  std::uint32_t width, height;
  std::size_t pixels() const { return std::size_t{width} * height; }
};
constexpr Size kSizes[] = {{320, 240}, {640, 480}, {1280, 960}};

struct Multiples {
  int m0, m1;
};
constexpr Multiples kMultiples[] = {{3, 2}, {7, 5}};

// A tilted plane seen at two frequencies: distance grows across the frame
// through the whole unambiguous range, with a little texture.
struct Frame {
  Size size;
  bool interleave;
  std::vector<std::uint16_t> planes[8];
};

Frame make_frame(Size size, bool interleave, Multiples m) {
  Frame f{size, interleave, {}};
  for (std::uint32_t y = 0; y < size.height; ++y) {
    for (std::uint32_t x = 0; x < size.width; ++x) {
      double d = (x + 0.3 * y) / (size.width + 0.3 * size.height) + 0.01 * std::sin(0.1 * x * y);
      d -= std::floor(d);
      const double angle[2] = {2 * M_PI * std::fmod(d * m.m0, 1.0), 2 * M_PI * std::fmod(d * m.m1, 1.0)};
      for (int p = 0; p < 8; ++p) {
        const double v = 30000 + 8000 * std::cos(angle[p / 4] - (p % 4) * M_PI / 2);
        if (interleave) {
          f.planes[p].push_back(static_cast<std::uint16_t>(std::lround(v + 1500)));
          f.planes[p].push_back(1500);
        } else {
          f.planes[p].push_back(static_cast<std::uint16_t>(std::lround(v)));
        }
      }
    }
  }
  return f;
}

// ---- the plain loop ----------------------------------------------------------

int term(const std::vector<std::uint16_t>& plane, std::size_t i, bool interleave) {
  return interleave ? plane[2 * i] - plane[2 * i + 1] : plane[i];
}

float wraps(float angle, float offset) {
  if (angle < 0) angle += 2 * static_cast<float>(M_PI);
  const float t = angle / (2 * static_cast<float>(M_PI)) + offset;
  return t - std::floor(t);
}

void plain_loop(const Frame& f, Multiples m, float* depth, std::uint16_t* amplitude) {
  const auto& p = f.planes;
  for (std::size_t i = 0; i < f.size.pixels(); ++i) {
    const auto x0 = static_cast<float>(term(p[0], i, f.interleave) - term(p[2], i, f.interleave));
    const auto y0 = static_cast<float>(term(p[1], i, f.interleave) - term(p[3], i, f.interleave));
    const auto x1 = static_cast<float>(term(p[4], i, f.interleave) - term(p[6], i, f.interleave));
    const auto y1 = static_cast<float>(term(p[5], i, f.interleave) - term(p[7], i, f.interleave));
    const float phi0 = wraps(std::atan2(y0, x0), 0.0f);
    const float phi1 = wraps(std::atan2(y1, x1), 0.0f);
    float best = 100.0f, result = phi1;
    int best_k = 0;
    bool matched = false;
    for (int k = 0; k < m.m1 && !matched; ++k) {
      for (int j = k; j < m.m0; ++j) {
        const float d = std::fabs((static_cast<float>(j) + phi0) * static_cast<float>(m.m1) -
                                  (static_cast<float>(k) + phi1) * static_cast<float>(m.m0));
        if (d < 0.5f) {
          result = phi1 + static_cast<float>(k);
          matched = true;
          break;
        }
        if (d < best) {
          best = d;
          best_k = k;
        }
      }
    }
    if (!matched && best < 1.0f) result = phi1 + static_cast<float>(best_k);
    depth[i] = result;
    amplitude[i] = static_cast<std::uint16_t>(std::sqrt(x1 * x1 + y1 * y1));
  }
}

// Range 0: size (index into kSizes); 1: interleave (0/1); 2: multiples (index
// into kMultiples).
void BM_PlainLoop(benchmark::State& state) {
  const Size size = kSizes[state.range(0)];
  const bool interleave = state.range(1) != 0;
  const Multiples m = kMultiples[state.range(2)];
  const Frame f = make_frame(size, interleave, m);
  std::vector<float> depth(size.pixels());
  std::vector<std::uint16_t> amplitude(size.pixels());
  for (auto _ : state) {
    plain_loop(f, m, depth.data(), amplitude.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * size.pixels()));
}

// ---- the library ---------------------------------------------------------------

tof_dual_context* setup(bool interleave, Multiples m, std::int64_t target) {
  pxkit::simd::set_allowed_targets(target);
  tof_dual_option o;
  std::memset(&o, 0, sizeof o);
  o.enable_substract_interleave = interleave;
  o.depth_out_use_float = 1;
  o.amplitude_out_use_16bit = 1;
  o.m0 = m.m0;
  o.m1 = m.m1;
  // Keep the option report out of the results.
  std::fflush(stdout);
  const int saved = dup(1);
  const int null_fd = open("/dev/null", O_WRONLY);
  dup2(null_fd, 1);
  tof_dual_context* ctx = setup_tof_dual_context(&o);
  std::fflush(stdout);
  dup2(saved, 1);
  close(saved);
  close(null_fd);
  pxkit::simd::set_allowed_targets(pxkit::simd::kAllTargets);
  return ctx;
}

// Ranges 0-2 as BM_PlainLoop. Range 3: 0 = scalar reference, n = the n-th
// vector target of this CPU (best first). Range 4: 0 = the context's kernel on
// one thread over the whole frame, 1 = itof_dual_dec_float (4 stripes on the pool).
void BM_Library(benchmark::State& state) {
  const Size size = kSizes[state.range(0)];
  const bool interleave = state.range(1) != 0;
  const Multiples m = kMultiples[state.range(2)];
  const auto targets = pxkit::simd::available_vector_targets();
  const auto n = static_cast<std::size_t>(state.range(3));
  if (n > targets.size()) {
    state.SkipWithError("no such vector target on this CPU");
    return;
  }
  const std::int64_t target = n == 0 ? 0 : targets[n - 1];
  const bool pooled = state.range(4) != 0;
  const Frame f = make_frame(size, interleave, m);
  std::vector<float> depth(size.pixels());
  std::vector<std::uint16_t> amplitude(size.pixels());
  tof_dual_context* ctx = setup(interleave, m, target);
  const auto& p = f.planes;

  pxkit::tof_dual_stripe whole = ctx->stripes[0];  // the chosen kernel and shift
  whole.pixel_count = static_cast<std::int32_t>(size.pixels());
  for (int i = 0; i < 8; ++i) whole.planes[i] = p[i].data();
  whole.depth = depth.data();
  whole.amplitude = amplitude.data();
  whole.offset_0 = whole.offset_1 = 0.0f;
  whole.m0 = static_cast<std::uint32_t>(m.m0);
  whole.m1 = static_cast<std::uint32_t>(m.m1);

  for (auto _ : state) {
    if (pooled) {
      itof_dual_dec_float(ctx, size.width, size.height, p[0].data(), p[1].data(), p[2].data(), p[3].data(),
                          p[4].data(), p[5].data(), p[6].data(), p[7].data(), nullptr,
                          depth.data(), nullptr, nullptr, amplitude.data(), size.width, 0.15915494f,
                          0.0f, 0.0f);
    } else {
      whole.task.func(reinterpret_cast<std::uintptr_t>(&whole), 0);
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * size.pixels()));
  state.SetLabel(pxkit::simd::target_name(target));
  destroy_tof_dual_context(ctx);
}

// Args: size (0: 320x240, 1: 640x480, 2: 1280x960), interleave (0/1),
// multiples (0: m0 3 m1 2, 1: m0 7 m1 5).
BENCHMARK(BM_PlainLoop)
    ->ArgsProduct({{1}, {0, 1}, {0, 1}})
    ->ArgsProduct({{0, 2}, {0}, {0}})
    ->Unit(benchmark::kMicrosecond);
// Args: size, interleave, multiples, target (0 scalar, 1 best vector, 2 next),
// pooled (0/1).
BENCHMARK(BM_Library)
    ->ArgsProduct({{1}, {0, 1}, {0, 1}, {0, 1, 2}, {0, 1}})
    ->ArgsProduct({{0, 2}, {0}, {0}, {0, 1}, {0, 1}})
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
