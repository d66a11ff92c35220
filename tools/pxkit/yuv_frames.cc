#include "yuv_frames.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "cli_error.h"
#include "stage_timer.h"

namespace pxcli {
namespace {

// Zone plate phase k r^2 / radius: 1/4 cycle per pixel at the rim (pi / 2).
constexpr double kZonePlate = 1.5707963267948966;

std::uint8_t clamp_byte(double v) { return static_cast<std::uint8_t>(std::clamp(std::lround(v), 0L, 255L)); }

// BT.601 video range YCbCr -> RGB.
void to_rgb(int y, int cb, int cr, std::uint8_t* rgb) {
  const double l = 1.164 * (y - 16), u = cb - 128, v = cr - 128;
  rgb[0] = clamp_byte(l + 1.596 * v);
  rgb[1] = clamp_byte(l - 0.392 * u - 0.813 * v);
  rgb[2] = clamp_byte(l + 2.017 * u);
}

// Fills the spare column and row of a plane from its edge.
void repeat_edges(std::vector<std::uint8_t>& plane, std::uint32_t stride, std::uint32_t row_bytes,
                  std::uint32_t rows, std::uint32_t sample_bytes) {
  if (row_bytes == 0 || rows == 0) return;
  for (std::uint32_t r = 0; r < rows; ++r) {
    std::uint8_t* row = plane.data() + std::size_t{r} * stride;
    std::copy(row + row_bytes - sample_bytes, row + row_bytes, row + row_bytes);
  }
  std::copy(plane.begin() + std::ptrdiff_t{rows - 1} * stride, plane.begin() + std::ptrdiff_t{rows} * stride,
            plane.begin() + std::ptrdiff_t{rows} * stride);
}

Nv12Image blank(Size size) {
  Nv12Image f;
  f.size = size;
  f.y_stride = size.width + 1;
  f.uv_stride = (size.width / 2) * 2 + 2;
  f.y.assign(std::size_t{f.y_stride} * (size.height + 1), 0);
  f.uv.assign(std::size_t{f.uv_stride} * (size.height / 2 + 1), 128);
  return f;
}

void finish(Nv12Image& f) {
  repeat_edges(f.y, f.y_stride, f.size.width, f.size.height, 1);
  repeat_edges(f.uv, f.uv_stride, (f.size.width / 2) * 2, f.size.height / 2, 2);
}

// Quiet creation: the library prints its area factors; the tool shows its own line.
void* create_quietly(const Nv12Image& in, Size out, std::uint32_t method, std::uint32_t flags) {
  std::fflush(stdout);
  const int saved = dup(1);
  std::FILE* null = std::fopen("/dev/null", "w");
  if (saved >= 0 && null != nullptr) dup2(fileno(null), 1);
  void* ctx = create_img_scale_ctx(in.size.width, in.size.height, out.width, out.height,
                                   PXKIT_FORMAT_YUV420SP, PXKIT_FORMAT_YUV420P, method, flags);
  std::fflush(stdout);
  if (saved >= 0) {
    dup2(saved, 1);
    close(saved);
  }
  if (null != nullptr) std::fclose(null);
  return ctx;
}

}  // namespace

img_planes Nv12Image::planes() const {
  img_planes p{};
  p.plane[0] = const_cast<std::uint8_t*>(y.data());
  p.plane[1] = const_cast<std::uint8_t*>(uv.data());
  p.stride[0] = y_stride;
  p.stride[1] = uv_stride;
  return p;
}

img_planes I420Image::planes() {
  img_planes p{};
  p.plane[0] = y.data();
  p.plane[1] = u.data();
  p.plane[2] = v.data();
  p.stride[0] = size.width;
  p.stride[1] = p.stride[2] = size.width / 2;
  return p;
}

std::vector<std::uint8_t> I420Image::raw() const {
  std::vector<std::uint8_t> out(y);
  out.insert(out.end(), u.begin(), u.end());
  out.insert(out.end(), v.begin(), v.end());
  return out;
}

std::uint64_t nv12_bytes(Size size) {
  return size.pixels() + std::uint64_t{size.width / 2} * 2 * (size.height / 2);
}

Nv12Image nv12_from_raw(Size size, const std::vector<std::uint8_t>& raw) {
  Nv12Image f = blank(size);
  const std::uint8_t* p = raw.data();
  for (std::uint32_t r = 0; r < size.height; ++r, p += size.width) {
    std::copy(p, p + size.width, f.y.begin() + std::ptrdiff_t{r} * f.y_stride);
  }
  const std::uint32_t pair_bytes = (size.width / 2) * 2;
  for (std::uint32_t r = 0; r < size.height / 2; ++r, p += pair_bytes) {
    std::copy(p, p + pair_bytes, f.uv.begin() + std::ptrdiff_t{r} * f.uv_stride);
  }
  finish(f);
  return f;
}

Nv12Image nv12_test_chart(Size size) {
  Nv12Image f = blank(size);
  // Eight colour bars (white, yellow, cyan, green, magenta, red, blue, black) in video range.
  static const std::uint8_t bars[8][3] = {{235, 128, 128}, {210, 16, 146}, {170, 166, 16}, {145, 54, 34},
                                          {106, 202, 222}, {81, 90, 240},  {41, 240, 110}, {16, 128, 128}};
  const double cx = size.width * 0.75, cy = size.height * 0.7, radius = size.height * 0.25;
  for (std::uint32_t r = 0; r < size.height; ++r) {
    for (std::uint32_t c = 0; c < size.width; ++c) {
      const std::size_t bar = std::size_t{c} * 8 / size.width;
      double luma = bars[bar][0];
      if (r > size.height / 2) luma = 16 + 219.0 * c / std::max(1u, size.width - 1);  // ramp
      const double dx = c - cx, dy = r - cy;
      if (dx * dx + dy * dy < radius * radius) {  // zone plate: frequency grows with the radius
        luma = 126 + 100 * std::cos(kZonePlate * (dx * dx + dy * dy) / radius);
      } else if (r > size.height / 2 && c < size.width / 4) {
        luma = (c / 2 + r / 2) % 2 ? 235 : 16;  // 2-pixel checks
      }
      f.y[std::size_t{r} * f.y_stride + c] = clamp_byte(luma);
    }
  }
  for (std::uint32_t r = 0; r < size.height / 2; ++r) {
    for (std::uint32_t p = 0; p < size.width / 2; ++p) {
      const std::size_t bar = std::size_t{2 * p} * 8 / size.width;
      const bool top = 2 * r <= size.height / 2;
      std::uint8_t* pair = &f.uv[std::size_t{r} * f.uv_stride + 2 * p];
      pair[0] = top ? bars[bar][1] : clamp_byte(128 + 100 * std::sin(p * 0.02));
      pair[1] = top ? bars[bar][2] : clamp_byte(128 + 100 * std::cos(r * 0.03));
    }
  }
  finish(f);
  return f;
}

I420Image scale_nv12(const Nv12Image& in, Size out, std::uint32_t method, bool banded,
                     double* ms_per_frame) {
  void* ctx = create_quietly(in, out, method, banded ? PXKIT_SCALE_FLAG_BANDED : 0);
  if (ctx == nullptr) {
    throw LibraryError("create_img_scale_ctx refused " + to_string(in.size) + " -> " + to_string(out));
  }
  I420Image o;
  o.size = out;
  o.y.assign(out.pixels(), 0);
  o.u.assign(std::size_t{out.width / 2} * (out.height / 2), 0);
  o.v.assign(o.u.size(), 0);
  const img_planes src = in.planes();
  const img_planes whole = o.planes();
  bool ok = true;
  const auto frame = [&] {
    for (std::uint32_t row = 0; row < out.height; row += banded ? 16 : out.height) {
      img_planes dst = whole;
      dst.plane[0] += std::size_t{row} * dst.stride[0];
      dst.plane[1] += std::size_t{row / 2} * dst.stride[1];
      dst.plane[2] += std::size_t{row / 2} * dst.stride[2];
      ok = ok && img_scale(ctx, &src, &dst) == 0;
    }
  };
  if (ms_per_frame != nullptr) {
    *ms_per_frame = median_ms(frame);
  } else {
    frame();
  }
  destroy_img_scale_ctx(ctx);
  if (!ok) throw LibraryError("img_scale refused a frame");
  return o;
}

std::vector<std::uint8_t> preview_rgb(const Nv12Image& in) {
  std::vector<std::uint8_t> rgb(in.size.pixels() * 3);
  const std::uint32_t cw = in.size.width / 2, ch = in.size.height / 2;
  for (std::uint32_t r = 0; r < in.size.height; ++r) {
    for (std::uint32_t c = 0; c < in.size.width; ++c) {
      const std::uint32_t pr = std::min(r / 2, ch == 0 ? 0 : ch - 1), pc = std::min(c / 2, cw == 0 ? 0 : cw - 1);
      const std::uint8_t* pair = &in.uv[std::size_t{pr} * in.uv_stride + 2 * pc];
      to_rgb(in.y[std::size_t{r} * in.y_stride + c], pair[0], pair[1], &rgb[(std::size_t{r} * in.size.width + c) * 3]);
    }
  }
  return rgb;
}

std::vector<std::uint8_t> preview_rgb(const I420Image& in) {
  std::vector<std::uint8_t> rgb(in.size.pixels() * 3);
  const std::uint32_t cw = in.size.width / 2, ch = in.size.height / 2;
  for (std::uint32_t r = 0; r < in.size.height; ++r) {
    for (std::uint32_t c = 0; c < in.size.width; ++c) {
      const std::size_t y = std::size_t{r} * in.size.width + c;
      int cb = 128, cr = 128;
      if (cw != 0 && ch != 0) {
        const std::size_t k = std::size_t{std::min(r / 2, ch - 1)} * cw + std::min(c / 2, cw - 1);
        cb = in.u[k];
        cr = in.v[k];
      }
      to_rgb(in.y[y], cb, cr, &rgb[y * 3]);
    }
  }
  return rgb;
}

std::vector<std::uint8_t> luma_of(const Nv12Image& in) {
  std::vector<std::uint8_t> out;
  out.reserve(in.size.pixels());
  for (std::uint32_t r = 0; r < in.size.height; ++r) {
    const auto row = in.y.begin() + std::ptrdiff_t{r} * in.y_stride;
    out.insert(out.end(), row, row + in.size.width);
  }
  return out;
}

}  // namespace pxcli
