// The tool's use of the library: contexts owned by RAII holders, setup reports
// kept off the terminal unless asked for, refusals turned into LibraryError.
#pragma once

#include <pxkit.h>

#include <array>
#include <cstdint>
#include <memory>

#include "args.h"

namespace pxcli {

struct TofContextDeleter {
  void operator()(tof_context* ctx) const { destroy_tof_context(ctx); }
};
struct DualContextDeleter {
  void operator()(tof_dual_context* ctx) const { destroy_tof_dual_context(ctx); }
};
using TofContext = std::unique_ptr<tof_context, TofContextDeleter>;
using DualContext = std::unique_ptr<tof_dual_context, DualContextDeleter>;

// `show_report`: let the library's option report through to standard output.
TofContext make_tof_context(const tof_option& option, bool show_report);
DualContext make_dual_context(const tof_dual_option& option, bool show_report);

struct SinglePlanes {
  const std::int16_t* p0;
  const std::int16_t* p90;
  const std::int16_t* p180;
  const std::int16_t* p270;
};

// One single-frequency frame; `depth` is float* or int16_t* as the context was
// set up, `amplitude` may be null. The offset is applied (the _v3 call) when non-zero.
void decode_single_float(tof_context* ctx, Size size, const SinglePlanes& in, float* depth,
                         void* amplitude, float depth_scale, float depth_offset);
void decode_single_fixed16(tof_context* ctx, Size size, const SinglePlanes& in, std::int16_t* depth,
                           void* amplitude, float depth_scale, float depth_offset);

// One dual-frequency frame: depth in wraps of frequency 1; amplitude rows packed.
void decode_dual(tof_dual_context* ctx, Size size, const std::array<const std::uint16_t*, 8>& in,
                 float* depth, void* amplitude, float offset_0, float offset_1);

}  // namespace pxcli
