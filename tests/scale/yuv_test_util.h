// Frames, a per-pixel model of the YUV scalers and helpers to run contexts,
// shared by the yuv_scale tests.
#pragma once

#include <pxkit.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "support/test_support.h"

namespace yuv_test {

struct Geometry {
  std::uint32_t sw, sh, dw, dh;
};

// One table entry computed from the definition: index and second weight.
struct Tap {
  std::uint32_t index;
  std::uint32_t w1;
};
Tap bilinear_tap(std::uint32_t s, std::uint32_t d, std::uint32_t i);

// Source columns and rows (luma; chroma pairs and rows) a method reads:
// up-scaling bilinear reads one beyond the frame, nothing else does.
struct Extent {
  std::uint32_t luma_cols, luma_rows, chroma_pairs, chroma_rows;
};
Extent source_extent(const Geometry& g, std::uint32_t method);

// An NV12 source whose luma and chroma planes each end at an inaccessible page
// right after the last byte the scaler may read; rows are `pad` bytes longer.
class Source {
 public:
  Source(const Geometry& g, std::uint32_t method, std::uint32_t pad);
  const img_planes& planes() const { return planes_; }
  // Sets every source byte (luma and chroma) to v.
  void fill(std::uint8_t v);
  std::uint8_t luma(std::uint32_t x, std::uint32_t y) const;
  std::uint8_t chroma(int channel, std::uint32_t pair, std::uint32_t y) const;

 private:
  std::unique_ptr<pxtest::PageEndBuffer> y_, uv_;
  img_planes planes_{};
};

// Tightly packed I420 result planes.
struct Planes {
  std::vector<std::uint8_t> p[3];
  bool operator==(const Planes& o) const { return p[0] == o.p[0] && p[1] == o.p[1] && p[2] == o.p[2]; }
};

// I420 destination with padded rows and rows after the frame, all filled with
// a sentinel that must survive outside the planes.
class Destination {
 public:
  Destination(const Geometry& g, std::uint32_t pad);
  img_planes planes() const;
  // Planes of band `band` (16 luma rows, 8 chroma rows) moved to its first row.
  img_planes band(std::uint32_t band) const;
  Planes take() const;
  bool sentinels_intact() const;

 private:
  std::uint32_t w_[3], h_[3], stride_[3];
  std::vector<std::uint8_t> buf_[3];
};

Planes model_bilinear(const Source& src, const Geometry& g);
Planes model_area(const Source& src, const Geometry& g);

// Creates a context with its report kept out of the log (null on refusal).
using Context = std::unique_ptr<void, void (*)(void*)>;
Context make_context(const Geometry& g, std::uint32_t method, std::uint32_t flags);

// One whole frame; or ceil(dh / 16) banded calls into band-moved destinations.
Planes run_frame(void* ctx, const Source& src, const Geometry& g, std::uint32_t pad = 5);
Planes run_banded(void* ctx, const Source& src, const Geometry& g, std::uint32_t pad = 3);

}  // namespace yuv_test
