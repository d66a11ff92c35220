// Vector row kernels of the colour conversion, compiled once per Highway
// target. Equal-size rows de-interleave a full byte vector of pixels per step;
// scaled rows gather 32 bits at each table offset (the pixel's bytes, or the
// chroma pair, in the low bytes). Luma is widened to 32 bits, multiplied,
// added and shifted as the scalar rule; the remainder of a row takes the rule.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "scale/colour_kernels_vector.cc"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

#include "scale/colour_kernels.h"
#include "scale/colour_rules.h"
#include "simd/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit::scale::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR

using D8 = hn::ScalableTag<std::uint8_t>;
using DI = hn::ScalableTag<std::int32_t>;
using DU = hn::RebindToUnsigned<DI>;
using VI = hn::Vec<DI>;

// (4899 r + 9618 g + 1868 b) >> 14 on 32-bit lanes.
HWY_INLINE VI Luma(VI r, VI g, VI b) {
  const DI di;
  const VI sum = hn::Add(hn::Add(hn::Mul(r, hn::Set(di, 4899)), hn::Mul(g, hn::Set(di, 9618))),
                         hn::Mul(b, hn::Set(di, 1868)));
  return hn::ShiftRight<14>(sum);
}

// Byte `index` (0 = lowest) of each 32-bit lane.
template <int kIndex>
HWY_INLINE VI Byte(VI v) {
  const DI di;
  return hn::And(hn::ShiftRight<8 * kIndex>(v), hn::Set(di, 0xFF));
}

// Low byte of each lane stored as one byte per lane.
HWY_INLINE void StoreBytes(VI v, std::uint8_t* out) {
  const hn::Rebind<std::uint8_t, DI> d8;
  hn::StoreU(hn::TruncateTo(d8, hn::BitCast(DU(), v)), d8, out);
}

// Luma of a full byte vector of pixels given as three channel vectors, in
// 16-bit lanes without loss: with each weight split as 64 hi + lo,
// S = 64 A + B for A = 76 R + 150 G + 29 B (<= 65025) and B = 35 R + 18 G + 12 B
// (<= 16575), and S >> 14 = (A + (B >> 6)) >> 8 (<= 65283 before the shift),
// the same integer as the 32-bit formula for every input.
HWY_INLINE void LumaBytes(hn::Vec<D8> r, hn::Vec<D8> g, hn::Vec<D8> b, std::uint8_t* out) {
  const hn::Half<D8> d8h;
  const hn::RepartitionToWide<D8> d16;
  const hn::Rebind<std::int16_t, decltype(d8h)> di16;
  // Opaque weights: kept as multiplies (the compiler would expand constants
  // into longer shift-and-add chains).
  auto w = [&](int v) HWY_ATTR {
    auto x = hn::Set(d16, static_cast<std::uint16_t>(v));
#if HWY_ARCH_X86
    asm("" : "+v"(x.raw));
#endif
    return x;
  };
  const auto w76 = w(76), w150 = w(150), w29 = w(29), w35 = w(35), w18 = w(18), w12 = w(12);
  const auto half = [&](hn::Vec<decltype(d8h)> rh, hn::Vec<decltype(d8h)> gh,
                        hn::Vec<decltype(d8h)> bh, std::uint8_t* dst) HWY_ATTR {
    const auto r16 = hn::PromoteTo(d16, rh), g16 = hn::PromoteTo(d16, gh), b16 = hn::PromoteTo(d16, bh);
    const auto hi = hn::Add(hn::Add(hn::Mul(r16, w76), hn::Mul(g16, w150)), hn::Mul(b16, w29));
    const auto lo = hn::Add(hn::Add(hn::Mul(r16, w35), hn::Mul(g16, w18)), hn::Mul(b16, w12));
    const auto y = hn::ShiftRight<8>(hn::Add(hi, hn::ShiftRight<6>(lo)));  // <= 255
    hn::StoreU(hn::DemoteTo(d8h, hn::BitCast(di16, y)), d8h, dst);
  };
  half(hn::LowerHalf(d8h, r), hn::LowerHalf(d8h, g), hn::LowerHalf(d8h, b), out);
  half(hn::UpperHalf(d8h, r), hn::UpperHalf(d8h, g), hn::UpperHalf(d8h, b), out + hn::Lanes(d8h));
}

struct VectorRows {
  template <PixelLayout L>
  static void grey_row(const std::uint8_t* src, std::uint8_t* dst, std::uint32_t width) {
    const D8 d8;
    const std::size_t n = hn::Lanes(d8);
    std::size_t x = 0;
    for (; x + n <= width; x += n) {
      const std::uint8_t* p = src + x * L.bytes;
      hn::Vec<D8> c[4];
      if constexpr (L.bytes == 3) {
        hn::LoadInterleaved3(d8, p, c[0], c[1], c[2]);
      } else {
        hn::LoadInterleaved4(d8, p, c[0], c[1], c[2], c[3]);
      }
      LumaBytes(c[L.r], c[L.g], c[L.b], dst + x);
    }
    for (; x < width; ++x) dst[x] = pixel_luma<L>(src + x * L.bytes);
  }

  template <PixelLayout L>
  static void grey_sampled_row(const std::uint8_t* src, const std::uint32_t* x_table,
                               std::uint8_t* dst, std::uint32_t count,
                               std::uint32_t gather_count) {
    const DI di;
    const std::size_t n = hn::Lanes(di);
    const auto* base = reinterpret_cast<const std::int32_t*>(src);
    const auto* offsets = reinterpret_cast<const std::int32_t*>(x_table);
    std::size_t x = 0;
    for (; x + n <= gather_count; x += n) {
      const VI v = hn::GatherOffset(di, base, hn::LoadU(di, offsets + x));
      StoreBytes(Luma(Byte<L.r>(v), Byte<L.g>(v), Byte<L.b>(v)), dst + x);
    }
    for (; x < count; ++x) dst[x] = pixel_luma<L>(src + x_table[x]);
  }

  static void byte_sampled_row(const std::uint8_t* src, const std::uint32_t* x_table,
                               std::uint8_t* dst, std::uint32_t count, std::uint32_t gather_count) {
    const DI di;
    const std::size_t n = hn::Lanes(di);
    const auto* base = reinterpret_cast<const std::int32_t*>(src);
    const auto* offsets = reinterpret_cast<const std::int32_t*>(x_table);
    std::size_t x = 0;
    for (; x + 2 * n <= gather_count; x += 2 * n) {
      const VI v0 = hn::GatherOffset(di, base, hn::LoadU(di, offsets + x));
      const VI v1 = hn::GatherOffset(di, base, hn::LoadU(di, offsets + x + n));
      StoreBytes(v0, dst + x);
      StoreBytes(v1, dst + x + n);
    }
    for (; x + n <= gather_count; x += n)
      StoreBytes(hn::GatherOffset(di, base, hn::LoadU(di, offsets + x)), dst + x);
    for (; x < count; ++x) dst[x] = src[x_table[x]];
  }

  static void split_row(const std::uint8_t* uv, std::uint8_t* u, std::uint8_t* v,
                        std::uint32_t pairs) {
    const D8 d8;
    const std::size_t n = hn::Lanes(d8);
    std::size_t c = 0;
    for (; c + n <= pairs; c += n) {
      hn::Vec<D8> a, b;
      hn::LoadInterleaved2(d8, uv + 2 * c, a, b);
      hn::StoreU(a, d8, u + c);
      hn::StoreU(b, d8, v + c);
    }
    for (; c < pairs; ++c) {
      u[c] = uv[2 * c];
      v[c] = uv[2 * c + 1];
    }
  }

  static void chroma_row(const std::uint8_t* c0, const std::uint8_t* c1,
                         const std::uint32_t* x_table, std::uint8_t* u, std::uint8_t* v,
                         std::uint32_t pairs, std::uint32_t gather_count) {
    const DI di;
    const std::size_t n = hn::Lanes(di);
    const auto* row0 = reinterpret_cast<const std::int32_t*>(c0);
    const auto* row1 = reinterpret_cast<const std::int32_t*>(c1);
    const auto* offsets = reinterpret_cast<const std::int32_t*>(x_table);
    const VI even_byte = hn::Set(di, ~1);
    std::size_t c = 0;
    for (; c + n <= gather_count; c += n) {
      const VI t0 = hn::LoadU(di, offsets + 2 * c);
      const VI t1 = hn::LoadU(di, offsets + 2 * c + n);
      const VI k0 = hn::And(hn::ConcatEven(di, t1, t0), even_byte);
      const VI k1 = hn::And(hn::ConcatOdd(di, t1, t0), even_byte);
      const VI a = hn::GatherOffset(di, row0, k0), b = hn::GatherOffset(di, row1, k0);
      const VI e = hn::GatherOffset(di, row0, k1), f = hn::GatherOffset(di, row1, k1);
      const VI su = hn::Add(hn::Add(Byte<0>(a), Byte<0>(b)), hn::Add(Byte<0>(e), Byte<0>(f)));
      const VI sv = hn::Add(hn::Add(Byte<1>(a), Byte<1>(b)), hn::Add(Byte<1>(e), Byte<1>(f)));
      StoreBytes(hn::ShiftRight<2>(su), u + c);
      StoreBytes(hn::ShiftRight<2>(sv), v + c);
    }
    for (; c < pairs; ++c) {
      const std::uint32_t k0 = x_table[2 * c] & ~1u, k1 = x_table[2 * c + 1] & ~1u;
      u[c] = mean4(c0, c1, k0, k1);
      v[c] = mean4(c0, c1, k0 + 1, k1 + 1);
    }
  }
};

const colour_kernels* VectorColourKernels() {
  static constexpr colour_kernels kKernels = make_colour_kernels<VectorRows>();
  return &kKernels;
}

#else  // HWY_TARGET == HWY_SCALAR

const colour_kernels* VectorColourKernels() { return &scalar_colour_kernels(); }

#endif

}  // namespace pxkit::scale::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pxkit::scale {

HWY_EXPORT(VectorColourKernels);

const colour_kernels& active_colour_kernels() {
  const auto getter = simd::select(HWY_DISPATCH_TABLE(VectorColourKernels));
  return getter != nullptr ? *getter() : scalar_colour_kernels();
}

}  // namespace pxkit::scale
#endif  // HWY_ONCE
