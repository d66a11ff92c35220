// Single-frequency ToF: the scalar reference and the vector kernel on one
// thread, the pooled frame call, a plain atan2f/sqrtf loop and (when OpenCV is
// installed) the OpenCV chain subtract, phase, magnitude, convertTo on one
// thread and on OpenCV's default threads, on the same frames, at 320x240,
// 640x480 and 1280x960. Every option combination is timed at 640x480.
// Throughput is reported as pixels per second (items_per_second).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "pxkit.h"
#include "simd/dispatch.h"
#include "tof/tof_context.h"

#ifdef PXKIT_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

constexpr float kScale = 0.2386f;  // metres per radian at 100 MHz modulation

struct Config {
  int width, height;
  bool float_depth, amp16, interleaved;
};

struct Frame {
  Frame(const Config& c) : pixels(static_cast<std::size_t>(c.width) * c.height) {
    const std::size_t n = pixels * (c.interleaved ? 2 : 1);
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> dist(-2000, 2000);
    for (auto* p : {&p0, &p90, &p180, &p270}) {
      p->resize(n);
      for (auto& v : *p) v = static_cast<std::int16_t>(dist(rng));
    }
    depth.resize(pixels * 4);
    amp.resize(pixels * 2);
  }
  std::size_t pixels;
  std::vector<std::int16_t> p0, p90, p180, p270;
  std::vector<std::uint8_t> depth, amp;
};

tof_option option_for(const Config& c) {
  tof_option o{};
  o.enable_substract_interleave = c.interleaved;
  o.depth_out_use_float = c.float_depth;
  o.amplitude_out_use_16bit = c.amp16;
  return o;
}

// Setup with its option report sent to /dev/null.
tof_context* quiet_setup(const tof_option& o) {
  std::fflush(stdout);
  const int saved = dup(STDOUT_FILENO);
  const int null = open("/dev/null", O_WRONLY);
  dup2(null, STDOUT_FILENO);
  close(null);
  tof_context* ctx = setup_tof_context(&o);
  std::fflush(stdout);
  dup2(saved, STDOUT_FILENO);
  close(saved);
  return ctx;
}

void count_pixels(benchmark::State& state, std::size_t pixels) {
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * pixels));
}

// The context's chosen kernel run on the benchmark thread over the whole
// frame as one flat stripe. target 0 = scalar reference.
void kernel_one_thread(benchmark::State& state, Config c, std::int64_t target) {
  pxkit::simd::set_allowed_targets(target);
  tof_context* ctx = quiet_setup(option_for(c));
  pxkit::simd::set_allowed_targets(pxkit::simd::kAllTargets);
  Frame f(c);
  pxkit::tof::tof_stripe s = ctx->stripes[0];
  s.phase_0 = f.p0.data();
  s.phase_90 = f.p90.data();
  s.phase_180 = f.p180.data();
  s.phase_270 = f.p270.data();
  s.pixel_count = static_cast<std::int32_t>(f.pixels);
  s.width = s.rows = s.amplitude_pitch = 0;
  s.depth_out = f.depth.data();
  s.amplitude_out = f.amp.data();
  s.depth_scale = kScale;
  for (auto _ : state) {
    s.task.func(reinterpret_cast<std::uintptr_t>(&s), 0);
    benchmark::ClobberMemory();
  }
  count_pixels(state, f.pixels);
  destroy_tof_context(ctx);
}

void pooled_call(benchmark::State& state, Config c) {
  tof_context* ctx = quiet_setup(option_for(c));
  Frame f(c);
  for (auto _ : state) {
    if (c.float_depth) {
      cal_tof_depth_amplitude_float(ctx, c.width, c.height, f.p0.data(), f.p90.data(), f.p180.data(),
                                    f.p270.data(), reinterpret_cast<float*>(f.depth.data()),
                                    f.amp.data(), kScale);
    } else {
      cal_tof_depth_amplitude_fixed16(ctx, c.width, c.height, f.p0.data(), f.p90.data(),
                                      f.p180.data(), f.p270.data(),
                                      reinterpret_cast<std::int16_t*>(f.depth.data()), f.amp.data(),
                                      kScale);
    }
    benchmark::ClobberMemory();
  }
  count_pixels(state, f.pixels);
  destroy_tof_context(ctx);
}

// What a user would write instead: planar f32 depth, u8 amplitude.
void plain_loop(benchmark::State& state, Config c) {
  Frame f(c);
  auto* depth = reinterpret_cast<float*>(f.depth.data());
  for (auto _ : state) {
    for (std::size_t i = 0; i < f.pixels; ++i) {
      const auto y = static_cast<float>(f.p90[i] - f.p270[i]);
      const auto x = static_cast<float>(f.p0[i] - f.p180[i]);
      float phase = atan2f(y, x);
      if (phase < 0.0f) phase += 6.2831855f;
      depth[i] = kScale * phase;
      f.amp[i] = static_cast<std::uint8_t>(static_cast<std::uint32_t>(sqrtf(x * x + y * y)));
    }
    benchmark::ClobberMemory();
  }
  count_pixels(state, f.pixels);
}

#ifdef PXKIT_BENCH_OPENCV
// The same job with OpenCV: differences, cv::phase, cv::magnitude, scaling.
// threads 0 leaves OpenCV's default (one per core); otherwise it is set for
// the run and restored after.
void opencv_pipeline(benchmark::State& state, Config c, int threads) {
  const int default_threads = cv::getNumThreads();
  if (threads > 0) cv::setNumThreads(threads);
  state.SetLabel(std::to_string(cv::getNumThreads()) + " thread(s)");
  Frame f(c);
  const auto wrap = [&](std::vector<std::int16_t>& v) { return cv::Mat(c.height, c.width, CV_16S, v.data()); };
  const cv::Mat p0 = wrap(f.p0), p90 = wrap(f.p90), p180 = wrap(f.p180), p270 = wrap(f.p270);
  cv::Mat x(c.height, c.width, CV_32F), y(c.height, c.width, CV_32F), angle(c.height, c.width, CV_32F),
      magnitude(c.height, c.width, CV_32F);
  cv::Mat depth(c.height, c.width, CV_32F, f.depth.data()), amp(c.height, c.width, CV_8U, f.amp.data());
  for (auto _ : state) {
    cv::subtract(p90, p270, y, cv::noArray(), CV_32F);
    cv::subtract(p0, p180, x, cv::noArray(), CV_32F);
    cv::phase(x, y, angle);
    cv::magnitude(x, y, magnitude);
    angle.convertTo(depth, CV_32F, kScale);
    magnitude.convertTo(amp, CV_8U);
    benchmark::ClobberMemory();
  }
  count_pixels(state, f.pixels);
  cv::setNumThreads(default_threads);
}
#endif

std::string name_of(const Config& c, const char* what) {
  return "tof/" + std::to_string(c.width) + "x" + std::to_string(c.height) + "/" +
         (c.float_depth ? "f32" : "fixed16") + "/" + (c.amp16 ? "u16" : "u8") + "/" +
         (c.interleaved ? "interleaved" : "planar") + "/" + what;
}

// Microseconds per frame; wall-clock time for what runs on other threads.
benchmark::internal::Benchmark* add(const std::string& name, void (*fn)(benchmark::State&, Config),
                                    const Config& c, bool wall_clock = false) {
  auto* b = benchmark::RegisterBenchmark(name.c_str(), fn, c)->Unit(benchmark::kMicrosecond);
  return wall_clock ? b->UseRealTime() : b;
}

void register_kernels(const Config& c, const std::vector<std::int64_t>& vector) {
  benchmark::RegisterBenchmark(name_of(c, "scalar_1thread").c_str(), kernel_one_thread, c, 0)
      ->Unit(benchmark::kMicrosecond);
  if (!vector.empty()) {
    const std::string label = std::string(pxkit::simd::target_name(vector.front())) + "_1thread";
    benchmark::RegisterBenchmark(name_of(c, label.c_str()).c_str(), kernel_one_thread, c,
                                 vector.front())
        ->Unit(benchmark::kMicrosecond);
  }
  add(name_of(c, "pooled"), pooled_call, c, true);
}

void register_all() {
  const std::vector<std::int64_t> vector = pxkit::simd::available_vector_targets();
  for (const auto& [w, h] : {std::pair{320, 240}, std::pair{640, 480}, std::pair{1280, 960}}) {
    const Config baseline{w, h, true, false, false};
    add(name_of(baseline, "atan2f_sqrtf_loop"), plain_loop, baseline);
#ifdef PXKIT_BENCH_OPENCV
    benchmark::RegisterBenchmark(name_of(baseline, "opencv_chain_1thread").c_str(), opencv_pipeline,
                                 baseline, 1)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark(name_of(baseline, "opencv_chain_default_threads").c_str(),
                                 opencv_pipeline, baseline, 0)
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime();
#endif
    register_kernels(baseline, vector);
  }
  for (bool fl : {true, false})
    for (bool amp16 : {false, true})
      for (bool il : {false, true})
        if (!(fl && !amp16 && !il)) register_kernels({640, 480, fl, amp16, il}, vector);  // baseline done
}

}  // namespace

int main(int argc, char** argv) {
  register_all();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
