// Frames, a per-pixel model of the YUV scalers written from the definitions,
// and helpers to run contexts, shared by the yuv_scale tests.
#pragma once

#include <pxkit.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "scale/image_test_util.h"

namespace yuv_test {

struct Geometry {
  std::uint32_t sw, sh, dw, dh;
};

// Table entry i of s -> d from the definition: index and second weight.
struct Tap {
  std::uint32_t index, w1;
};
inline Tap bilinear_tap(std::uint32_t s, std::uint32_t d, std::uint32_t i) {
  const std::uint64_t p = std::uint64_t{s} * i * 2048 / d;
  return {static_cast<std::uint32_t>(p >> 11), static_cast<std::uint32_t>(p & 2047)};
}

// Area span of destination entry i: first and last source entries and their weights.
struct Span {
  std::uint32_t first, last;
  float wf, wl;
};
inline Span area_span(std::uint32_t s, std::uint32_t d, std::uint32_t i) {
  const std::uint64_t start = std::uint64_t{i} * s, end = start + s;
  const float r = 1.0f / static_cast<float>(d);
  Span sp{static_cast<std::uint32_t>(start / d), static_cast<std::uint32_t>(end / d - 1),
          std::fma(-r, float(start % d), 1.0f), 1.0f};
  if (end % d != 0) sp.last = static_cast<std::uint32_t>(end / d), sp.wl = static_cast<float>(end % d) * r;
  return sp;
}

// Source entries read along a dimension: up-scaling bilinear reads one
// beyond the frame, nothing else does.
inline std::uint32_t reach(std::uint32_t s, std::uint32_t d, std::uint32_t method) {
  if (method == PXKIT_SCALE_AREA) return s;
  if (d == 0) return 0;
  const Tap t = bilinear_tap(s, d, d - 1);
  return std::max(s, t.index + 1 + (t.w1 != 0 ? 1u : 0u));
}

// An NV12 source whose luma and chroma planes each end at an inaccessible page
// right after the last byte the scaler may read; rows are `pad` bytes longer.
class Source {
 public:
  Source(const Geometry& g, std::uint32_t method, std::uint32_t pad) {
    const std::uint32_t cols = reach(g.sw, g.dw, method), rows = reach(g.sh, g.dh, method);
    const std::uint32_t pairs = reach(g.sw / 2, g.dw / 2, method), crows = reach(g.sh / 2, g.dh / 2, method);
    const std::uint32_t ys = cols + pad, cs = 2 * pairs + pad;
    const std::size_t cbytes = crows == 0 ? 1 : std::size_t{cs} * (crows - 1) + 2 * pairs;
    y_ = std::make_unique<pxtest::PageEndBuffer>(std::size_t{ys} * (rows - 1) + cols);
    uv_ = std::make_unique<pxtest::PageEndBuffer>(std::max<std::size_t>(cbytes, 1));
    for (const auto* b : {y_.get(), uv_.get()}) {
      const auto v = pxtest::random_ints<std::uint8_t>(b->size(), 0, 255);
      std::memcpy(b->data(), v.data(), v.size());
    }
    planes_.plane[0] = y_->as<std::uint8_t>();
    planes_.plane[1] = uv_->as<std::uint8_t>();
    planes_.stride[0] = ys;
    planes_.stride[1] = cs;
  }
  const img_planes& planes() const { return planes_; }
  void fill(std::uint8_t v) {
    std::memset(y_->data(), v, y_->size());
    std::memset(uv_->data(), v, uv_->size());
  }
  // Sample x, y of plane k (0 luma; 1, 2 the chroma channels of pair x).
  std::uint32_t at(int k, std::uint32_t x, std::uint32_t y) const {
    return planes_.plane[k == 0 ? 0 : 1][std::size_t{y} * planes_.stride[k == 0 ? 0 : 1] + (k == 0 ? x : 2 * x + k - 1)];
  }

 private:
  std::unique_ptr<pxtest::PageEndBuffer> y_, uv_;
  img_planes planes_{};
};

// Tightly packed I420 result planes.
struct Planes {
  std::vector<std::uint8_t> p[3];
  bool operator==(const Planes& o) const { return p[0] == o.p[0] && p[1] == o.p[1] && p[2] == o.p[2]; }
};

// I420 destination with padded rows and two rows after each plane, all guard
// bytes that must survive.
class Destination {
 public:
  Destination(const Geometry& g, std::uint32_t pad)
      : p_{{g.dw, g.dh, pad, false, 2}, {g.dw / 2, g.dh / 2, pad, false, 2}, {g.dw / 2, g.dh / 2, pad, false, 2}} {}
  // Planes of band `band` (16 luma rows, 8 chroma rows) moved to its first row.
  img_planes band(std::uint32_t band) {
    img_planes d{};
    for (int k = 0; k < 3; ++k) {
      d.plane[k] = p_[k].data() + std::size_t{k == 0 ? band * 16u : band * 8u} * p_[k].stride;
      d.stride[k] = p_[k].stride;
    }
    return d;
  }
  Planes take() const {
    EXPECT_TRUE(p_[0].guards_intact() && p_[1].guards_intact() && p_[2].guards_intact());
    Planes out;
    for (int k = 0; k < 3; ++k)
      for (std::uint32_t y = 0; y < p_[k].height; ++y)
        out.p[k].insert(out.p[k].end(), &p_[k].bytes[std::size_t{y} * p_[k].stride],
                        &p_[k].bytes[std::size_t{y} * p_[k].stride + p_[k].width]);
    return out;
  }

 private:
  imgtest::Plane p_[3];
};

// The expected I420 planes of `method` on `src`, pixel by pixel.
inline Planes model(const Source& src, const Geometry& g, std::uint32_t method) {
  Planes out;
  for (int k = 0; k < 3; ++k) {
    const std::uint32_t sw = k ? g.sw / 2 : g.sw, sh = k ? g.sh / 2 : g.sh;
    const std::uint32_t dw = k ? g.dw / 2 : g.dw, dh = k ? g.dh / 2 : g.dh;
    const float factor = (float(dw) * float(dh)) / (float(sw) * float(sh));
    auto h = [&](std::uint32_t x, std::uint32_t y) -> std::uint32_t {  // bilinear, Q4 after 2048ths
      const Tap c = bilinear_tap(sw, dw, x);
      if (c.w1 == 0) return src.at(k, c.index, y) * 128;
      return (src.at(k, c.index, y) * (2048 - c.w1) + src.at(k, c.index + 1, y) * c.w1) >> 4;
    };
    for (std::uint32_t y = 0; y < dh; ++y) {
      for (std::uint32_t x = 0; x < dw; ++x) {
        if (method == PXKIT_SCALE_BILINEAR) {
          const Tap r = bilinear_tap(sh, dh, y);
          const std::uint32_t ta = h(x, r.index);
          out.p[k].push_back(static_cast<std::uint8_t>(
              r.w1 == 0 ? ta >> 7 : (((ta * (2048 - r.w1)) >> 16) + 2 + ((h(x, r.index + 1) * r.w1) >> 16)) >> 2));
          continue;
        }
        const Span r = area_span(sh, dh, y), c = area_span(sw, dw, x);
        auto hsum = [&](std::uint32_t row) {
          if (c.first == c.last) return float(src.at(k, c.first, row));
          std::uint32_t mid = 0;
          for (std::uint32_t i = c.first + 1; i < c.last; ++i) mid += src.at(k, i, row);
          return std::fma(float(src.at(k, c.first, row)), c.wf, float(src.at(k, c.last, row)) * c.wl) + float(mid);
        };
        float acc = r.first == r.last ? hsum(r.first) : r.wf * hsum(r.first);
        if (r.first != r.last) {
          for (std::uint32_t i = r.first + 1; i < r.last; ++i) acc = acc + hsum(i);
          acc = acc + r.wl * hsum(r.last);
        }
        out.p[k].push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(acc * factor)));
      }
    }
  }
  return out;
}

// Creates a context with its report kept out of the log (null on refusal).
using Context = pxtest::Owned<void, &destroy_img_scale_ctx>;
inline Context make_context(const Geometry& g, std::uint32_t method, std::uint32_t flags) {
  void* ctx = nullptr;
  pxtest::capture_stdout([&] {
    ctx = create_img_scale_ctx(g.sw, g.sh, g.dw, g.dh, PXKIT_FORMAT_YUV420SP, PXKIT_FORMAT_YUV420P, method, flags);
  });
  return Context(ctx);
}

// One whole frame, or ceil(dh / 16) banded calls into band-moved destinations.
inline Planes run(void* ctx, const Source& src, const Geometry& g, bool banded, std::uint32_t pad) {
  Destination dst(g, pad);
  for (std::uint32_t b = 0; b == 0 || (banded && b * 16 < g.dh); ++b) {
    const img_planes d = dst.band(b);
    EXPECT_EQ(img_scale(ctx, &src.planes(), &d), 0);
  }
  return dst.take();
}

}  // namespace yuv_test
