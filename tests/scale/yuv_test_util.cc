#include "scale/yuv_test_util.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace yuv_test {
namespace {

constexpr std::uint8_t kSentinel = 0xEE;

struct Span {
  std::uint32_t first, last;
  float wf, wl;
};

// Area span of destination entry i, from the definition.
Span area_span(std::uint32_t s, std::uint32_t d, std::uint32_t i) {
  const std::uint64_t start = std::uint64_t{i} * s, end = start + s;
  const float r = 1.0f / static_cast<float>(d);
  Span sp{static_cast<std::uint32_t>(start / d), 0, std::fma(-r, float(start % d), 1.0f), 1.0f};
  if (end % d != 0) {
    sp.last = static_cast<std::uint32_t>(end / d);
    sp.wl = static_cast<float>(end % d) * r;
  } else {
    sp.last = static_cast<std::uint32_t>(end / d - 1);
  }
  return sp;
}

std::uint32_t reach(std::uint32_t s, std::uint32_t d) {
  if (d == 0) return 0;
  const Tap t = bilinear_tap(s, d, d - 1);
  return std::max(s, t.index + 1 + (t.w1 != 0 ? 1u : 0u));
}

}  // namespace

Tap bilinear_tap(std::uint32_t s, std::uint32_t d, std::uint32_t i) {
  const std::uint64_t p = std::uint64_t{s} * i * 2048 / d;
  return {static_cast<std::uint32_t>(p >> 11), static_cast<std::uint32_t>(p & 2047)};
}

Extent source_extent(const Geometry& g, std::uint32_t method) {
  if (method == PXKIT_SCALE_AREA) return {g.sw, g.sh, g.sw / 2, g.sh / 2};
  return {reach(g.sw, g.dw), reach(g.sh, g.dh), reach(g.sw / 2, g.dw / 2), reach(g.sh / 2, g.dh / 2)};
}

Source::Source(const Geometry& g, std::uint32_t method, std::uint32_t pad) {
  const Extent e = source_extent(g, method);
  const std::uint32_t ys = e.luma_cols + pad, cs = 2 * e.chroma_pairs + pad;
  const std::size_t ybytes = std::size_t{ys} * (e.luma_rows - 1) + e.luma_cols;
  const std::size_t cbytes = e.chroma_rows == 0 ? 1 : std::size_t{cs} * (e.chroma_rows - 1) + 2 * e.chroma_pairs;
  y_ = std::make_unique<pxtest::PageEndBuffer>(ybytes);
  uv_ = std::make_unique<pxtest::PageEndBuffer>(std::max<std::size_t>(cbytes, 1));
  const auto yv = pxtest::random_ints<std::uint8_t>(ybytes, 0, 255);
  const auto cv = pxtest::random_ints<std::uint8_t>(uv_->size(), 0, 255);
  std::memcpy(y_->data(), yv.data(), ybytes);
  std::memcpy(uv_->data(), cv.data(), cv.size());
  planes_.plane[0] = y_->as<std::uint8_t>();
  planes_.plane[1] = uv_->as<std::uint8_t>();
  planes_.stride[0] = ys;
  planes_.stride[1] = cs;
}

void Source::fill(std::uint8_t v) {
  std::memset(y_->data(), v, y_->size());
  std::memset(uv_->data(), v, uv_->size());
}

std::uint8_t Source::luma(std::uint32_t x, std::uint32_t y) const {
  return planes_.plane[0][std::size_t{y} * planes_.stride[0] + x];
}

std::uint8_t Source::chroma(int channel, std::uint32_t pair, std::uint32_t y) const {
  return planes_.plane[1][std::size_t{y} * planes_.stride[1] + 2 * pair + channel];
}

Destination::Destination(const Geometry& g, std::uint32_t pad) {
  for (int k = 0; k < 3; ++k) {
    w_[k] = k == 0 ? g.dw : g.dw / 2;
    h_[k] = k == 0 ? g.dh : g.dh / 2;
    stride_[k] = w_[k] + pad;
    buf_[k].assign(std::size_t{stride_[k]} * (h_[k] + 2) + 1, kSentinel);
  }
}

img_planes Destination::planes() const { return band(0); }

img_planes Destination::band(std::uint32_t band) const {
  img_planes p{};
  for (int k = 0; k < 3; ++k) {
    const std::size_t row = k == 0 ? band * 16u : band * 8u;
    p.plane[k] = const_cast<std::uint8_t*>(buf_[k].data()) + row * stride_[k];
    p.stride[k] = stride_[k];
  }
  return p;
}

Planes Destination::take() const {
  Planes out;
  for (int k = 0; k < 3; ++k) {
    for (std::uint32_t y = 0; y < h_[k]; ++y) {
      const auto* row = buf_[k].data() + std::size_t{y} * stride_[k];
      out.p[k].insert(out.p[k].end(), row, row + w_[k]);
    }
  }
  return out;
}

bool Destination::sentinels_intact() const {
  for (int k = 0; k < 3; ++k) {
    for (std::size_t i = 0; i < buf_[k].size(); ++i) {
      const bool inside = i / stride_[k] < h_[k] && i % stride_[k] < w_[k];
      if (!inside && buf_[k][i] != kSentinel) return false;
    }
  }
  return true;
}

Planes model_bilinear(const Source& src, const Geometry& g) {
  Planes out;
  for (int k = 0; k < 3; ++k) {
    const std::uint32_t sw = k ? g.sw / 2 : g.sw, sh = k ? g.sh / 2 : g.sh;
    const std::uint32_t dw = k ? g.dw / 2 : g.dw, dh = k ? g.dh / 2 : g.dh;
    auto sample = [&](std::uint32_t x, std::uint32_t y) -> std::uint32_t {
      return k == 0 ? src.luma(x, y) : src.chroma(k - 1, x, y);
    };
    auto h = [&](std::uint32_t x, std::uint32_t y) -> std::uint32_t {
      const Tap c = bilinear_tap(sw, dw, x);
      if (c.w1 == 0) return sample(c.index, y) * 128;
      return (sample(c.index, y) * (2048 - c.w1) + sample(c.index + 1, y) * c.w1) >> 4;
    };
    for (std::uint32_t y = 0; y < dh; ++y) {
      const Tap r = bilinear_tap(sh, dh, y);
      for (std::uint32_t x = 0; x < dw; ++x) {
        const std::uint32_t ta = h(x, r.index);
        const std::uint32_t v =
            r.w1 == 0 ? ta >> 7
                      : (((ta * (2048 - r.w1)) >> 16) + 2 + ((h(x, r.index + 1) * r.w1) >> 16)) >> 2;
        out.p[k].push_back(static_cast<std::uint8_t>(v));
      }
    }
  }
  return out;
}

Planes model_area(const Source& src, const Geometry& g) {
  Planes out;
  for (int k = 0; k < 3; ++k) {
    const std::uint32_t sw = k ? g.sw / 2 : g.sw, sh = k ? g.sh / 2 : g.sh;
    const std::uint32_t dw = k ? g.dw / 2 : g.dw, dh = k ? g.dh / 2 : g.dh;
    const float factor = (float(dw) * float(dh)) / (float(sw) * float(sh));
    auto sample = [&](std::uint32_t x, std::uint32_t y) -> std::uint32_t {
      return k == 0 ? src.luma(x, y) : src.chroma(k - 1, x, y);
    };
    for (std::uint32_t y = 0; y < dh; ++y) {
      const Span r = area_span(sh, dh, y);
      for (std::uint32_t x = 0; x < dw; ++x) {
        const Span c = area_span(sw, dw, x);
        auto hsum = [&](std::uint32_t row) {
          if (c.first == c.last) return float(sample(c.first, row));
          std::uint32_t mid = 0;
          for (std::uint32_t i = c.first + 1; i < c.last; ++i) mid += sample(i, row);
          return std::fma(float(sample(c.first, row)), c.wf, float(sample(c.last, row)) * c.wl) +
                 float(mid);
        };
        float acc;
        if (r.first == r.last) {
          acc = hsum(r.first);
        } else {
          acc = r.wf * hsum(r.first);
          for (std::uint32_t i = r.first + 1; i < r.last; ++i) acc = acc + hsum(i);
          acc = acc + r.wl * hsum(r.last);
        }
        out.p[k].push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(acc * factor)));
      }
    }
  }
  return out;
}

Context make_context(const Geometry& g, std::uint32_t method, std::uint32_t flags) {
  void* ctx = nullptr;
  pxtest::capture_stdout([&] {
    ctx = create_img_scale_ctx(g.sw, g.sh, g.dw, g.dh, PXKIT_FORMAT_YUV420SP, PXKIT_FORMAT_YUV420P,
                               method, flags);
  });
  return Context(ctx, destroy_img_scale_ctx);
}

Planes run_frame(void* ctx, const Source& src, const Geometry& g, std::uint32_t pad) {
  Destination dst(g, pad);
  const img_planes d = dst.planes();
  EXPECT_EQ(img_scale(ctx, &src.planes(), &d), 0);
  EXPECT_TRUE(dst.sentinels_intact());
  return dst.take();
}

Planes run_banded(void* ctx, const Source& src, const Geometry& g, std::uint32_t pad) {
  Destination dst(g, pad);
  for (std::uint32_t b = 0; b * 16 < g.dh; ++b) {
    const img_planes d = dst.band(b);
    EXPECT_EQ(img_scale(ctx, &src.planes(), &d), 0);
  }
  EXPECT_TRUE(dst.sentinels_intact());
  return dst.take();
}

}  // namespace yuv_test
