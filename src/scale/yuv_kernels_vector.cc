// Vector row kernels of the 8-bit YUV scalers, compiled once per Highway
// target. Source samples at table positions are fetched as 32-bit words
// (gathers at byte offsets): one word holds a sample and its right neighbour,
// or, for chroma, two neighbouring pairs. Columns whose word would reach past
// the source row take the scalar rules, which the vector bodies equal bit
// for bit.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "scale/yuv_kernels_vector.cc"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

#include "scale/yuv_kernels.h"
#include "scale/yuv_sample_rules.h"
#include "simd/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit::scale::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR

using DI = hn::ScalableTag<std::int32_t>;
using DU = hn::RebindToUnsigned<DI>;
using DF = hn::RebindToFloat<DI>;
using VI = hn::Vec<DI>;
using VU = hn::Vec<DU>;
using VF = hn::Vec<DF>;

// The 4 bytes at src + offset, per lane (little-endian: the first byte is the low one).
HWY_INLINE VU Words(const std::uint8_t* src, VI offsets) {
  return hn::BitCast(DU(), hn::GatherOffset(DI(), reinterpret_cast<const std::int32_t*>(src), offsets));
}

template <int kShift>
HWY_INLINE VU Byte(VU words) {
  return hn::And(hn::ShiftRight<kShift>(words), hn::Set(DU(), 0xFFu));
}

// Q7 intermediate of one channel: `pairs` holds its two samples a, b as the
// low and high 16 bits of each lane, `weights` (w0, w1) likewise; a x w0 +
// b x w1 is one pairwise widening multiply-add (exact: at most 255 x 2048 x 2).
HWY_INLINE VU Blend(VU pairs, VU weights) {
  const DI di;
  const hn::Repartition<std::int16_t, DI> d16;
  VI odd = hn::Zero(di);
  const VI even = hn::ReorderWidenMulAccumulate(di, hn::BitCast(d16, pairs),
                                                hn::BitCast(d16, weights), hn::Zero(di), odd);
  return hn::ShiftRight<4>(hn::BitCast(DU(), hn::RearrangeToOddPlusEven(even, odd)));
}

HWY_INLINE void StoreQ7(VU t, std::uint16_t* dst) {
  const hn::Rebind<std::uint16_t, DU> d16;
  hn::StoreU(hn::DemoteTo(d16, hn::BitCast(DI(), t)), d16, dst);
}

void HLuma(const std::uint8_t* src, const yuv_bilinear_tables& t, std::uint16_t* dst) {
  const std::size_t n = hn::Lanes(DU());
  const auto* weights = reinterpret_cast<const std::uint32_t*>(t.column_weights);
  std::size_t i = 0;
  for (; i + n <= t.word_safe_columns; i += n) {
    const VU words = Words(src, hn::BitCast(DI(), hn::LoadU(DU(), t.column_index + i)));
    // Bytes 0 and 1 of the word become 16-bit halves 0 and 1.
    const VU pairs = hn::Or(Byte<0>(words), hn::ShiftLeft<8>(hn::And(words, hn::Set(DU(), 0xFF00u))));
    StoreQ7(Blend(pairs, hn::LoadU(DU(), weights + i)), dst + i);
  }
  for (; i < t.dst_width; ++i) {
    dst[i] = bilinear_h_sample(src + t.column_index[i], t.column_weights[2 * i],
                               t.column_weights[2 * i + 1], 1);
  }
}

void HChroma(const std::uint8_t* src, const yuv_bilinear_tables& t, std::uint16_t* dst0,
             std::uint16_t* dst1) {
  const std::size_t n = hn::Lanes(DU());
  const auto* weights = reinterpret_cast<const std::uint32_t*>(t.column_weights);
  std::size_t i = 0;
  for (; i + n <= t.word_safe_columns; i += n) {
    const VI offsets = hn::ShiftLeft<1>(hn::BitCast(DI(), hn::LoadU(DU(), t.column_index + i)));
    const VU words = Words(src, offsets);
    const VU w = hn::LoadU(DU(), weights + i);
    // Bytes 0 and 2 are the first channel's two samples, bytes 1 and 3 the second's.
    const VU even_bytes = hn::Set(DU(), 0x00FF00FFu);
    StoreQ7(Blend(hn::And(words, even_bytes), w), dst0 + i);
    StoreQ7(Blend(hn::And(hn::ShiftRight<8>(words), even_bytes), w), dst1 + i);
  }
  for (; i < t.dst_width; ++i) {
    const std::uint8_t* pair = src + std::size_t{t.column_index[i]} * 2;
    const std::uint32_t w0 = t.column_weights[2 * i], w1 = t.column_weights[2 * i + 1];
    dst0[i] = bilinear_h_sample(pair, w0, w1, 2);
    dst1[i] = bilinear_h_sample(pair + 1, w0, w1, 2);
  }
}

using D16 = hn::ScalableTag<std::uint16_t>;
using D8 = hn::Rebind<std::uint8_t, D16>;

HWY_INLINE void StoreBytes(hn::Vec<D16> v, std::uint8_t* dst) {
  hn::StoreU(hn::DemoteTo(D8(), hn::BitCast(hn::RebindToSigned<D16>(), v)), D8(), dst);
}

void VBlend(const std::uint16_t* a, const std::uint16_t* b, std::uint32_t w0, std::uint32_t w1,
            std::uint8_t* dst, std::uint32_t count) {
  const D16 d;
  const std::size_t n = hn::Lanes(d);
  // (t x w) >> 16 is the high half of the 16 x 16-bit product (t <= 32640, w < 2048).
  const auto vw0 = hn::Set(d, static_cast<std::uint16_t>(w0));
  const auto vw1 = hn::Set(d, static_cast<std::uint16_t>(w1));
  const auto two = hn::Set(d, 2);
  std::size_t i = 0;
  for (; i + n <= count; i += n) {
    const auto sum = hn::Add(hn::Add(hn::MulHigh(hn::LoadU(d, a + i), vw0), two),
                             hn::MulHigh(hn::LoadU(d, b + i), vw1));
    StoreBytes(hn::ShiftRight<2>(sum), dst + i);
  }
  for (; i < count; ++i) dst[i] = bilinear_v_sample(a[i], b[i], w0, w1);
}

void VSingle(const std::uint16_t* a, std::uint8_t* dst, std::uint32_t count) {
  const D16 d;
  const std::size_t n = hn::Lanes(d);
  std::size_t i = 0;
  for (; i + n <= count; i += n) StoreBytes(hn::ShiftRight<7>(hn::LoadU(d, a + i)), dst + i);
  for (; i < count; ++i) dst[i] = bilinear_v_single(a[i]);
}

// Area horizontal sums of kChannels interleaved channels (1: luma, 2: chroma
// pairs): H = fma(first, wf, last x wl) + float(integer sum of the middle).
template <int kChannels>
void AreaH(const std::uint8_t* src, const area_scale_tables& t, float* h0, float* h1) {
  const DI di;
  const DF df;
  const std::size_t n = hn::Lanes(di);
  const area_vector_columns& v = t.vector;
  std::size_t i = 0;
  const auto to_offset = [](VI column) HWY_ATTR {
    return kChannels == 2 ? hn::ShiftLeft<1>(column) : column;
  };
  for (; i + n <= v.word_safe_columns; i += n) {
    const VI first = hn::LoadU(di, v.first + i);
    const VI last = hn::LoadU(di, v.last + i);
    const VU first_words = Words(src, to_offset(first));
    const VU last_words = Words(src, to_offset(last));
    VU middle0 = hn::Zero(DU()), middle1 = hn::Zero(DU());
    if (v.max_middle != 0) {
      const VI count = hn::LoadU(di, v.middle + i);
      const VI start = hn::Add(first, hn::Set(di, 1));
      for (std::uint32_t m = 0; m < v.max_middle; ++m) {
        const VI vm = hn::Set(di, static_cast<std::int32_t>(m));
        const auto active = hn::RebindMask(DU(), hn::Lt(vm, count));
        const VU words = Words(src, to_offset(hn::Min(hn::Add(start, vm), last)));
        middle0 = hn::Add(middle0, hn::IfThenElseZero(active, Byte<0>(words)));
        if (kChannels == 2) middle1 = hn::Add(middle1, hn::IfThenElseZero(active, Byte<8>(words)));
      }
    }
    const VF wf = hn::LoadU(df, v.first_weight + i);
    const VF wl = hn::LoadU(df, v.last_weight + i);
    const auto sum = [&](VU a, VU b, VU middle) HWY_ATTR {
      const VF fa = hn::ConvertTo(df, hn::BitCast(di, a));
      const VF fb = hn::ConvertTo(df, hn::BitCast(di, b));
      return hn::Add(hn::MulAdd(fa, wf, hn::Mul(fb, wl)), hn::ConvertTo(df, hn::BitCast(di, middle)));
    };
    hn::StoreU(sum(Byte<0>(first_words), Byte<0>(last_words), middle0), df, h0 + i);
    if (kChannels == 2) {
      hn::StoreU(sum(Byte<8>(first_words), Byte<8>(last_words), middle1), df, h1 + i);
    }
  }
  for (; i < t.dst_width; ++i) {
    h0[i] = area_h_sum(src, t.column_spans[i], kChannels);
    if (kChannels == 2) h1[i] = area_h_sum(src + 1, t.column_spans[i], 2);
  }
}

void AreaHLuma(const std::uint8_t* src, const area_scale_tables& t, float* h) {
  AreaH<1>(src, t, h, nullptr);
}

void AreaHChroma(const std::uint8_t* src, const area_scale_tables& t, float* h0, float* h1) {
  AreaH<2>(src, t, h0, h1);
}

void AreaFirst(const float* h, float w, float* acc, std::uint32_t count) {
  const DF df;
  const std::size_t n = hn::Lanes(df);
  const VF vw = hn::Set(df, w);
  std::size_t i = 0;
  for (; i + n <= count; i += n) hn::StoreU(hn::Mul(vw, hn::LoadU(df, h + i)), df, acc + i);
  for (; i < count; ++i) acc[i] = w * h[i];
}

void AreaMiddle(const float* h, float* acc, std::uint32_t count) {
  const DF df;
  const std::size_t n = hn::Lanes(df);
  std::size_t i = 0;
  for (; i + n <= count; i += n) {
    hn::StoreU(hn::Add(hn::LoadU(df, acc + i), hn::LoadU(df, h + i)), df, acc + i);
  }
  for (; i < count; ++i) acc[i] = acc[i] + h[i];
}

// trunc(x) of values in [0, 256), low byte stored.
HWY_INLINE void StoreTruncated(VF x, std::uint8_t* dst) {
  const hn::Rebind<std::uint8_t, DU> d8;
  hn::StoreU(hn::TruncateTo(d8, hn::BitCast(DU(), hn::ConvertTo(DI(), x))), d8, dst);
}

void AreaLast(const float* acc, const float* h, float w, float factor, std::uint8_t* dst,
              std::uint32_t count) {
  const DF df;
  const std::size_t n = hn::Lanes(df);
  const VF vw = hn::Set(df, w), vf = hn::Set(df, factor);
  std::size_t i = 0;
  for (; i + n <= count; i += n) {
    const VF total = hn::Add(hn::LoadU(df, acc + i), hn::Mul(vw, hn::LoadU(df, h + i)));
    StoreTruncated(hn::Mul(total, vf), dst + i);
  }
  for (; i < count; ++i) dst[i] = area_result(acc[i] + w * h[i], factor);
}

void AreaSingle(const float* h, float factor, std::uint8_t* dst, std::uint32_t count) {
  const DF df;
  const std::size_t n = hn::Lanes(df);
  const VF vf = hn::Set(df, factor);
  std::size_t i = 0;
  for (; i + n <= count; i += n) StoreTruncated(hn::Mul(hn::LoadU(df, h + i), vf), dst + i);
  for (; i < count; ++i) dst[i] = area_result(h[i], factor);
}

const yuv_kernels* VectorYuvKernels() {
  static constexpr yuv_kernels kKernels = {HLuma,     HChroma,     VBlend,     VSingle,
                                           AreaHLuma, AreaHChroma, AreaFirst,  AreaMiddle,
                                           AreaLast,  AreaSingle};
  return &kKernels;
}

#else  // HWY_TARGET == HWY_SCALAR

// Highway's one-lane fallback is compiled on x86-64 but never chosen.
const yuv_kernels* VectorYuvKernels() { return &scalar_yuv_kernels(); }

#endif

}  // namespace pxkit::scale::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pxkit::scale {

HWY_EXPORT(VectorYuvKernels);

const yuv_kernels& active_yuv_kernels() {
  const auto getter = simd::select(HWY_DISPATCH_TABLE(VectorYuvKernels));
  return getter != nullptr ? *getter() : scalar_yuv_kernels();
}

}  // namespace pxkit::scale
#endif  // HWY_ONCE
