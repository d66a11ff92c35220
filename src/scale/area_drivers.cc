// Frame drivers of area down-sampling. A destination row is the weighted sum
// of the horizontal sums of the source rows its span covers; the horizontal
// sums of the last source row are kept, since neighbouring destination rows
// share their border row. The banded driver reads each band's source rows
// directly (no ring).
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "common/diag.h"
#include "scale/yuv_scale_context.h"

namespace pxkit::scale {
namespace {

// Horizontal sums of the most recent source rows of one plane: two slots of
// `channels` rows each, the newest one at `newest`.
struct h_cache {
  float* slot[2][2];
  std::uint32_t row = 0;
  bool valid = false;
  int newest = 0;
};

struct plane_job {
  const yuv_kernels& k;
  const area_scale_tables& t;
  const std::uint8_t* src;
  std::uint32_t src_stride;
  int channels;  // 1: luma; 2: interleaved chroma pairs
  h_cache cache;
  float* acc[2];

  // The horizontal sums of source row r (computed unless they are the newest).
  float* const* sums(std::uint32_t r) {
    if (!(cache.valid && cache.row == r)) {
      cache.newest ^= 1;
      float** out = cache.slot[cache.newest];
      const std::uint8_t* row = src + std::size_t{r} * src_stride;
      if (channels == 1) {
        k.area_h_luma(row, t, out[0]);
      } else {
        k.area_h_chroma(row, t, out[0], out[1]);
      }
      cache.row = r;
      cache.valid = true;
    }
    return cache.slot[cache.newest];
  }

  // Destination row j into out[channel].
  void row(std::uint32_t j, std::uint8_t* const* out) {
    const area_span& span = t.row_spans[j];
    const std::uint32_t n = t.dst_width;
    if (span.first == span.last) {
      float* const* h = sums(span.first);
      for (int ch = 0; ch < channels; ++ch) k.area_single(h[ch], t.factor, out[ch], n);
      return;
    }
    float* const* h = sums(span.first);
    for (int ch = 0; ch < channels; ++ch) k.area_first(h[ch], span.first_weight, acc[ch], n);
    for (std::uint32_t r = span.first + 1; r < span.last; ++r) {
      h = sums(r);
      for (int ch = 0; ch < channels; ++ch) k.area_middle(h[ch], acc[ch], n);
    }
    h = sums(span.last);
    for (int ch = 0; ch < channels; ++ch) {
      k.area_last(acc[ch], h[ch], span.last_weight, t.factor, out[ch], n);
    }
  }
};

plane_job luma_job(const area_scale_ctx& c, const img_planes& src) {
  float* s = c.scratch;
  const std::size_t w = c.luma.dst_width;
  plane_job job{*c.kernels, c.luma, src.plane[0], src.stride[0], 1, {}, {s + 2 * w, nullptr}};
  job.cache.slot[0][0] = s;
  job.cache.slot[1][0] = s + w;
  return job;
}

plane_job chroma_job(const area_scale_ctx& c, const img_planes& src) {
  const std::size_t cw = c.chroma.dst_width;
  float* s = c.scratch + 3 * std::size_t{c.luma.dst_width};
  plane_job job{*c.kernels, c.chroma, src.plane[1], src.stride[1], 2, {}, {s, s + cw}};
  job.cache.slot[0][0] = s + 2 * cw;
  job.cache.slot[0][1] = s + 3 * cw;
  job.cache.slot[1][0] = s + 4 * cw;
  job.cache.slot[1][1] = s + 5 * cw;
  return job;
}

// Destination rows [from, to) of both planes; row j is written at row j - from.
void run_rows(const area_scale_ctx& c, const img_planes& src, const img_planes& dst,
              std::uint32_t from, std::uint32_t to, std::uint32_t chroma_from,
              std::uint32_t chroma_to) {
  plane_job luma = luma_job(c, src);
  for (std::uint32_t j = from; j < to; ++j) {
    std::uint8_t* out[1] = {dst.plane[0] + std::size_t{j - from} * dst.stride[0]};
    luma.row(j, out);
  }
  if (c.chroma.dst_width == 0) return;
  plane_job chroma = chroma_job(c, src);
  for (std::uint32_t j = chroma_from; j < chroma_to; ++j) {
    const std::size_t k = j - chroma_from;
    std::uint8_t* out[2] = {dst.plane[1] + k * dst.stride[1], dst.plane[2] + k * dst.stride[2]};
    chroma.row(j, out);
  }
}

}  // namespace

std::int32_t area_frame(void* ctx, const img_planes* src, const img_planes* dst) {
  const auto& c = *static_cast<area_scale_ctx*>(ctx);
  run_rows(c, *src, *dst, 0, c.luma.dst_height, 0, c.chroma.dst_height);
  return 0;
}

std::int32_t area_band(void* ctx, const img_planes* src, const img_planes* dst) {
  auto& c = *static_cast<area_scale_ctx*>(ctx);
  const std::uint32_t r = c.current_row;
  if (r >= c.dst_height) {
    diag::line("end?");
    return -1;
  }
  const std::uint32_t e = std::min(r + kBandRows, c.dst_height);
  const std::uint32_t cr = std::min(r / 2, c.chroma.dst_height);
  const std::uint32_t ce = std::min(cr + kBandRows / 2, c.chroma.dst_height);
  run_rows(c, *src, *dst, r, e, cr, ce);
  if (e == c.dst_height) {
    c.current_row = 0;
    return 1;
  }
  c.current_row = e;
  return 0;
}

}  // namespace pxkit::scale
