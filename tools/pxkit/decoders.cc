#include "decoders.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "cli_error.h"

namespace pxcli {
namespace {

// Points standard output at /dev/null for its lifetime: the library prints its
// option report on every setup, which would break up the tool's own output.
class QuietStdout {
 public:
  explicit QuietStdout(bool active) {
    if (!active) return;
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    const int null_fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (saved_ >= 0 && null_fd >= 0) dup2(null_fd, STDOUT_FILENO);
    if (null_fd >= 0) close(null_fd);
  }
  ~QuietStdout() {
    if (saved_ < 0) return;
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }
  QuietStdout(const QuietStdout&) = delete;
  QuietStdout& operator=(const QuietStdout&) = delete;

 private:
  int saved_ = -1;
};

void check(int32_t rc, const char* call) {
  if (rc != 0) throw LibraryError(std::string(call) + " returned " + std::to_string(rc));
}

}  // namespace

TofContext make_tof_context(const tof_option& option, bool show_report) {
  TofContext ctx;
  {
    QuietStdout quiet(!show_report);
    ctx.reset(setup_tof_context(&option));
  }
  if (!ctx) throw LibraryError("setup_tof_context failed");
  return ctx;
}

DualContext make_dual_context(const tof_dual_option& option, bool show_report) {
  DualContext ctx;
  {
    QuietStdout quiet(!show_report);
    ctx.reset(setup_tof_dual_context(&option));
  }
  if (!ctx) throw LibraryError("setup_tof_dual_context failed");
  return ctx;
}

void decode_single_float(tof_context* ctx, Size size, const SinglePlanes& in, float* depth,
                         void* amplitude, float depth_scale, float depth_offset) {
  const auto h = static_cast<int32_t>(size.height);
  if (depth_offset != 0.0f) {
    check(cal_tof_depth_amplitude_float_v3(ctx, size.width, h, in.p0, in.p90, in.p180, in.p270, depth,
                                           amplitude, depth_scale, depth_offset),
          "cal_tof_depth_amplitude_float_v3");
  } else {
    check(cal_tof_depth_amplitude_float(ctx, size.width, h, in.p0, in.p90, in.p180, in.p270, depth,
                                        amplitude, depth_scale),
          "cal_tof_depth_amplitude_float");
  }
}

void decode_single_fixed16(tof_context* ctx, Size size, const SinglePlanes& in, std::int16_t* depth,
                           void* amplitude, float depth_scale, float depth_offset) {
  const auto h = static_cast<int32_t>(size.height);
  if (depth_offset != 0.0f) {
    check(cal_tof_depth_amplitude_fixed16_v3(ctx, size.width, h, in.p0, in.p90, in.p180, in.p270,
                                             depth, amplitude, depth_scale, depth_offset),
          "cal_tof_depth_amplitude_fixed16_v3");
  } else {
    check(cal_tof_depth_amplitude_fixed16(ctx, size.width, h, in.p0, in.p90, in.p180, in.p270, depth,
                                          amplitude, depth_scale),
          "cal_tof_depth_amplitude_fixed16");
  }
}

void decode_dual(tof_dual_context* ctx, Size size, const std::array<const std::uint16_t*, 8>& in,
                 float* depth, void* amplitude, float offset_0, float offset_1) {
  // The scale argument only matters to the library's pool-less fallback path;
  // 1/(2 pi) makes that path count in wraps too.
  check(itof_dual_dec_float(ctx, size.width, size.height, in[0], in[1], in[2], in[3], in[4], in[5],
                            in[6], in[7], nullptr, depth, nullptr, nullptr, amplitude, size.width,
                            1.0f / 6.2831855f, offset_0, offset_1),
        "itof_dual_dec_float");
}

}  // namespace pxcli
