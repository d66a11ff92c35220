// Frame drivers of the bilinear YUV scaler: plane walkers that apply the
// chosen row kernels, over whole frames or one 16-row band per call.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/diag.h"
#include "scale/yuv_scale_context.h"

namespace pxkit::scale {
namespace {

const std::uint8_t* row_of(const std::uint8_t* plane, std::uint32_t stride, std::uint32_t row) {
  return plane + std::size_t{row} * stride;
}

// Horizontal pass of source rows [from, to] into `rows`, whose slot 0 holds
// source row `base`.
void h_luma_rows(const img_scale_ctx& c, const img_planes& src, std::uint32_t from,
                 std::uint32_t to, std::uint16_t* rows, std::uint32_t base) {
  const std::size_t width = c.luma.dst_width;
  for (std::uint32_t r = from; r <= to; ++r) {
    c.kernels->h_luma(row_of(src.plane[0], src.stride[0], r), c.luma, rows + (r - base) * width);
  }
}

void h_chroma_rows(const img_scale_ctx& c, const img_planes& src, std::uint32_t from,
                   std::uint32_t to, std::uint16_t* rows0, std::uint16_t* rows1,
                   std::uint32_t base) {
  const std::size_t width = c.chroma.dst_width;
  for (std::uint32_t r = from; r <= to; ++r) {
    const std::size_t slot = (r - base) * width;
    c.kernels->h_chroma(row_of(src.plane[1], src.stride[1], r), c.chroma, rows0 + slot,
                        rows1 + slot);
  }
}

// Vertical pass of destination rows [from, to) from `rows` (slot 0 = source
// row `base`); destination row j goes to row j - out_first of `dst`.
void v_rows(const yuv_kernels& k, const yuv_bilinear_tables& t, const std::uint16_t* rows,
            std::uint32_t base, std::uint32_t from, std::uint32_t to, std::uint32_t out_first,
            std::uint8_t* dst, std::uint32_t stride) {
  const std::size_t width = t.dst_width;
  for (std::uint32_t j = from; j < to; ++j) {
    const std::uint16_t* a = rows + (t.row_index[j] - base) * width;
    std::uint8_t* out = dst + std::size_t{j - out_first} * stride;
    const std::uint32_t w1 = t.row_weights[2 * j + 1];
    if (w1 == 0) {
      k.v_single(a, out, t.dst_width);
    } else {
      k.v_blend(a, a + width, t.row_weights[2 * j], w1, out, t.dst_width);
    }
  }
}

// Source rows a whole frame runs the horizontal pass for: every row, plus the
// one beyond the last when the vertical pass reads it (up-scaling).
std::uint32_t frame_rows(const yuv_bilinear_tables& t) {
  if (t.dst_height == 0) return t.src_height;
  return std::max(t.src_height, last_read(t.row_index, t.row_weights, t.dst_height - 1) + 1);
}

bool has_chroma(const yuv_bilinear_tables& t) { return t.dst_width != 0 && t.dst_height != 0; }

// Both whole-frame drivers; kTableRows: the vertical pass takes its row count
// from the tables, otherwise from the context's sizes. Results are identical.
template <bool kTableRows>
std::int32_t bilinear_frame(void* ctx, const img_planes* src, const img_planes* dst) {
  const auto& c = *static_cast<img_scale_ctx*>(ctx);
  const std::uint32_t luma_rows = kTableRows ? c.luma.dst_height : c.dst_height;
  h_luma_rows(c, *src, 0, frame_rows(c.luma) - 1, c.intermediate, 0);
  v_rows(*c.kernels, c.luma, c.intermediate, 0, 0, luma_rows, 0, dst->plane[0], dst->stride[0]);
  if (!has_chroma(c.chroma)) return 0;
  const std::uint32_t rows = frame_rows(c.chroma);
  std::uint16_t* channel0 = c.intermediate;
  std::uint16_t* channel1 = c.intermediate + std::size_t{rows} * c.chroma.dst_width;
  h_chroma_rows(c, *src, 0, rows - 1, channel0, channel1, 0);
  const std::uint32_t chroma_rows = kTableRows ? c.chroma.dst_height : c.dst_height >> 1;
  v_rows(*c.kernels, c.chroma, channel0, 0, 0, chroma_rows, 0, dst->plane[1], dst->stride[1]);
  v_rows(*c.kernels, c.chroma, channel1, 0, 0, chroma_rows, 0, dst->plane[2], dst->stride[2]);
  return 0;
}

// First and last source rows that destination rows [from, to) read.
ring_rows needed_rows(const yuv_bilinear_tables& t, std::uint32_t from, std::uint32_t to) {
  return {t.row_index[from], last_read(t.row_index, t.row_weights, to - 1)};
}

bool ring_too_small(std::uint32_t capacity, ring_rows need, std::uint32_t from, std::uint32_t to) {
  if (std::uint64_t{capacity} + need.first >= std::uint64_t{need.last} + 1) return false;
  diag::format("bug: interm_buf_lines %d is not enough, src %d->%d, dst %d->%d\n",
               static_cast<int>(capacity), static_cast<int>(need.first),
               static_cast<int>(need.last + 1), static_cast<int>(from), static_cast<int>(to));
  return true;
}

// Brings a ring (one or two channels of `width` samples a row) to hold rows
// need.first..need.last: rows kept from the previous band move to the front,
// the others are filled by `fill(from, to)`.
template <class Fill>
void refill_ring(std::uint16_t* const* rings, int channels, std::size_t width, ring_rows& held,
                 ring_rows need, Fill fill) {
  std::uint32_t next = need.first;
  if (need.first != 0 && held.last >= need.first) {
    for (std::uint32_t r = need.first; r <= held.last; ++r) {
      for (int ch = 0; ch < channels; ++ch) {
        std::memmove(rings[ch] + (r - need.first) * width, rings[ch] + (r - held.first) * width,
                     width * sizeof(std::uint16_t));
      }
    }
    next = held.last + 1;
  }
  if (next <= need.last) fill(next, need.last);
  held = need;
}

}  // namespace

std::int32_t bilinear_frame_table_rows(void* ctx, const img_planes* src, const img_planes* dst) {
  return bilinear_frame<true>(ctx, src, dst);
}

std::int32_t bilinear_frame_counted_rows(void* ctx, const img_planes* src, const img_planes* dst) {
  return bilinear_frame<false>(ctx, src, dst);
}

std::int32_t bilinear_band(void* ctx, const img_planes* src, const img_planes* dst) {
  auto& c = *static_cast<img_scale_ctx*>(ctx);
  const std::uint32_t r = c.current_row;
  if (r >= c.dst_height) {
    diag::line("end?");
    return -1;
  }
  const std::uint32_t e = std::min(r + kBandRows, c.dst_height);
  const ring_rows luma_need = needed_rows(c.luma, r, e);
  if (ring_too_small(c.interm_buf_lines, luma_need, r, e)) return -2;
  const std::uint32_t cr = r / 2;
  const std::uint32_t ce = std::min(cr + kBandRows / 2, c.chroma.dst_height);
  const bool chroma_band = has_chroma(c.chroma) && cr < ce;
  ring_rows chroma_need{};
  if (chroma_band) {
    chroma_need = needed_rows(c.chroma, cr, ce);
    if (ring_too_small(c.interm_buf_lines >> 1, chroma_need, cr, ce)) return -2;
  }

  std::uint16_t* luma_ring[1] = {c.intermediate};
  refill_ring(luma_ring, 1, c.luma.dst_width, c.luma_held, luma_need,
              [&](std::uint32_t from, std::uint32_t to) {
                h_luma_rows(c, *src, from, to, c.intermediate, luma_need.first);
              });
  v_rows(*c.kernels, c.luma, c.intermediate, luma_need.first, r, e, r, dst->plane[0],
         dst->stride[0]);
  if (chroma_band) {
    refill_ring(c.chroma_ring, 2, c.chroma.dst_width, c.chroma_held, chroma_need,
                [&](std::uint32_t from, std::uint32_t to) {
                  h_chroma_rows(c, *src, from, to, c.chroma_ring[0], c.chroma_ring[1],
                                chroma_need.first);
                });
    for (int ch = 0; ch < 2; ++ch) {
      v_rows(*c.kernels, c.chroma, c.chroma_ring[ch], chroma_need.first, cr, ce, cr,
             dst->plane[1 + ch], dst->stride[1 + ch]);
    }
  }
  if (e == c.dst_height) {
    c.current_row = 0;
    return 1;
  }
  c.current_row = e;
  return 0;
}

}  // namespace pxkit::scale
