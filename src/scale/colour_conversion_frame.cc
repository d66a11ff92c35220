// The per-frame colour conversion: checks, dispatch on the format pair, and the
// plane walkers that apply the row kernels with the images' strides.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/diag.h"
#include "pxkit.h"
#include "scale/colour_conversion.h"
#include "scale/colour_kernels.h"

namespace pxkit::scale {
namespace {

using Ctx = scale_color_conversion_ctx;

std::uint8_t* row(std::uint8_t* plane, std::uint32_t stride, std::uint64_t r) {
  return plane + r * stride;
}

// Vector kernels address a row with signed 32-bit offsets.
constexpr std::uint64_t kOffsetLimit = std::uint64_t{1} << 31;

// Number of leading table entries whose 4-byte read stays below `limit`
// (the entries never decrease).
std::uint32_t gather_count(const std::uint32_t* table, std::uint32_t count, std::uint64_t limit) {
  if (limit > kOffsetLimit) limit = kOffsetLimit;
  while (count > 0 && std::uint64_t{table[count - 1]} + 4 > limit) --count;
  return count;
}

bool overlap(const std::uint8_t* a, std::size_t a_bytes, const std::uint8_t* b,
             std::size_t b_bytes) {
  const auto pa = reinterpret_cast<std::uintptr_t>(a), pb = reinterpret_cast<std::uintptr_t>(b);
  return pa < pb + b_bytes && pb < pa + a_bytes;
}

// Index of the packed format in the kernel tables (RGB24, BGR24, RGBX, XBGR).
int layout_index(std::uint8_t format) {
  switch (format) {
    case 7: return 0;
    case 8: return 1;
    case 4: return 2;
    default: return 3;  // 5
  }
}

void copy_grey(const Ctx& c, const img_planes& s, const img_planes& d) {
  for (std::uint32_t y = 0; y < c.src_height; ++y)
    std::memmove(row(d.plane[0], d.stride[0], y), row(s.plane[0], s.stride[0], y), c.src_width);
}

void sample_grey(const Ctx& c, const img_planes& s, const img_planes& d, sampled_row_fn kernel) {
  const std::uint32_t* xt = c.p_scale_index_x;
  const std::uint32_t gathered = gather_count(xt, c.dst_width, c.src_width);
  for (std::uint32_t y = 0; y < c.dst_height; ++y) {
    kernel(row(s.plane[0], s.stride[0], c.p_scale_index_y[y]), xt, row(d.plane[0], d.stride[0], y),
           c.dst_width, gathered);
  }
}

void colour_to_grey(const Ctx& c, const img_planes& s, const img_planes& d,
                    const colour_kernels& k, const colour_kernels& scalar) {
  const int layout = layout_index(c.src_format);
  const std::size_t bytes = c.src_format == 7 || c.src_format == 8 ? 3 : 4;
  if (c.scaling == 0) {
    const std::size_t src_row_bytes = bytes * c.src_width;
    for (std::uint32_t y = 0; y < c.src_height; ++y) {
      const std::uint8_t* in = row(s.plane[0], s.stride[0], y);
      std::uint8_t* out = row(d.plane[0], d.stride[0], y);
      // Rows that share memory take the per-pixel loop, which reads each
      // pixel before writing its (lower or equal) destination byte.
      const bool shared = overlap(in, src_row_bytes, out, c.src_width);
      (shared ? scalar : k).grey_row[layout](in, out, c.src_width);
    }
    return;
  }
  const std::uint32_t* xt = c.p_scale_index_x;
  const std::uint32_t gathered = gather_count(xt, c.dst_width, bytes * c.src_width);
  for (std::uint32_t y = 0; y < c.dst_height; ++y) {
    k.grey_sampled_row[layout](row(s.plane[0], s.stride[0], c.p_scale_index_y[y]), xt,
                               row(d.plane[0], d.stride[0], y), c.dst_width, gathered);
  }
}

void nv12_to_i420(const Ctx& c, const img_planes& s, const img_planes& d,
                  const colour_kernels& k) {
  if (c.scaling == 0) {
    if (s.stride[0] == d.stride[0]) {
      std::memmove(d.plane[0], s.plane[0], std::size_t{c.src_height} * s.stride[0]);
    } else {
      copy_grey(c, s, d);
    }
    if ((c.src_height >> 1) == 0 || c.src_width <= 1) return;
    for (std::uint32_t r = 0; r < (c.src_height >> 1); ++r) {
      k.split_row(row(s.plane[1], s.stride[1], r), row(d.plane[1], d.stride[1], r),
                  row(d.plane[2], d.stride[2], r), c.src_width >> 1);
    }
    return;
  }
  // Luma: every destination pixel, the odd last column and row included.
  sample_grey(c, s, d, k.byte_sampled_row);
  // Chroma: one value per complete 2 x 2 destination block.
  const std::uint32_t* xt = c.p_scale_index_x;
  const std::uint32_t* yt = c.p_scale_index_y;
  const std::uint32_t pairs = c.dst_width >> 1;
  // A pair reads bytes up to k1 + 1 of a chroma row: within the source width
  // rounded up to even.
  std::uint32_t gathered = pairs;
  std::uint64_t limit = (std::uint64_t{c.src_width} + 1) & ~std::uint64_t{1};
  if (limit > kOffsetLimit) limit = kOffsetLimit;
  while (gathered > 0 && std::uint64_t{xt[2 * std::size_t{gathered} - 1] & ~1u} + 4 > limit)
    --gathered;
  for (std::uint32_t y = 0; y + 1 < c.dst_height; y += 2) {
    k.chroma_row(row(s.plane[1], s.stride[1], yt[y] >> 1), row(s.plane[1], s.stride[1], yt[y + 1] >> 1),
                 xt, row(d.plane[1], d.stride[1], y >> 1), row(d.plane[2], d.stride[2], y >> 1),
                 pairs, gathered);
  }
}

}  // namespace
}  // namespace pxkit::scale

extern "C" PXKIT_API int do_scale_color_conversion(scale_color_conversion_ctx* ctx,
                                                   const img_planes* src, const img_planes* dst) {
  using namespace pxkit;
  if (ctx == nullptr || src == nullptr || dst == nullptr) {
    diag::format("[error]: null ctx %p, or null src %p dst %p\n", static_cast<void*>(ctx),
                 static_cast<const void*>(src), static_cast<const void*>(dst));
    return -1;
  }
  // A context whose table allocation failed (scaling without tables) is not usable either.
  if (ctx->magic != scale::kColourMagic || (ctx->scaling != 0 && ctx->p_scale_index_x == nullptr)) {
    diag::format("[error]: bad magic 0x%02x\n", ctx->magic);
    return -2;
  }
  const scale::colour_kernels& kernels = scale::active_colour_kernels();
  const std::uint32_t pair = ctx->src_format | (std::uint32_t{ctx->dst_format} << 8);
  switch (pair) {
    case 0x0201:
      scale::nv12_to_i420(*ctx, *src, *dst, kernels);
      return 0;
    case 0x0a07:
    case 0x0a08:
    case 0x0a04:
    case 0x0a05:
      scale::colour_to_grey(*ctx, *src, *dst, kernels, scale::scalar_colour_kernels());
      return 0;
    case 0x0a0a:
      if (ctx->scaling == 0) {
        scale::copy_grey(*ctx, *src, *dst);
      } else {
        scale::sample_grey(*ctx, *src, *dst, kernels.byte_sampled_row);
      }
      return 0;
    default:
      diag::format("[error]: not support format change: 0x%02x -> 0x%02x\n", ctx->src_format,
                   ctx->dst_format);
      return -2;
  }
}
