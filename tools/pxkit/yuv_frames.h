// NV12 and I420 frames for `pxkit yuv` and the demo's YUV panel: raw file
// layouts, a synthetic colour test chart, scaling through libpxkit and colour
// previews. Chroma planes are (width / 2) x (height / 2), rounded down, as the
// library defines them.
#pragma once

#include <pxkit.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "args.h"

namespace pxcli {

// Semi-planar 4:2:0 frame. Each plane keeps one spare column (pair) and row
// that repeat the edge: bilinear up-scaling reads one sample beyond the frame.
struct Nv12Image {
  Size size;
  std::uint32_t y_stride = 0, uv_stride = 0;
  std::vector<std::uint8_t> y, uv;
  img_planes planes() const;
};

// Planar 4:2:0 frame, planes packed (strides = plane widths).
struct I420Image {
  Size size;
  std::vector<std::uint8_t> y, u, v;
  img_planes planes();
  std::vector<std::uint8_t> raw() const;  // Y, then U, then V
};

// Bytes of a raw NV12 frame: width x height luma, then (height / 2) rows of
// (width / 2) pairs.
std::uint64_t nv12_bytes(Size size);
// A frame from raw NV12 bytes (exactly nv12_bytes(size) of them).
Nv12Image nv12_from_raw(Size size, const std::vector<std::uint8_t>& raw);
// Colour bars over a luma ramp, with a zone plate and fine lines for aliasing.
Nv12Image nv12_test_chart(Size size);

// Scales through a fresh context (method PXKIT_SCALE_BILINEAR or
// PXKIT_SCALE_AREA; banded: ceil(height / 16) calls). Throws LibraryError when
// the library refuses. *ms_per_frame, when given, receives the median time per frame.
I420Image scale_nv12(const Nv12Image& in, Size out, std::uint32_t method, bool banded,
                     double* ms_per_frame = nullptr);

// 8-bit RGB previews (BT.601 video range), and the luma plane alone.
std::vector<std::uint8_t> preview_rgb(const Nv12Image& in);
std::vector<std::uint8_t> preview_rgb(const I420Image& in);
std::vector<std::uint8_t> luma_of(const Nv12Image& in);

}  // namespace pxcli
