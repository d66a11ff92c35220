// Vector kernels of the conversions, compiled once per Highway target. Each
// kernel converts whole vectors of f32 lanes and leaves the last few elements
// to the scalar element rules, which the vector body equals bit for bit.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "convert/vector_kernels.cc"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "convert/convert_kernels.h"
#include "convert/element_rules.h"
#include "simd/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit::convert::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using DF = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<DF>;
using DU = hn::RebindToUnsigned<DF>;
using VF = hn::Vec<DF>;

// Largest f32 below 2^31 (2^31 - 128): every lane clamped to
// [-2^31, kBelowTwo31] converts the same way on every target.
constexpr float kBelowTwo31 = 2147483520.0f;

// Loads one vector's worth of T and converts it exactly (8/16-bit: sign- or
// zero-extended first) or rounded to nearest (32-bit) to f32.
template <class T>
HWY_INLINE VF LoadAsFloat(const T* HWY_RESTRICT p) {
  const DF df;
  const hn::Rebind<T, DF> dt;
  if constexpr (sizeof(T) == 4) {
    return hn::ConvertTo(df, hn::LoadU(dt, p));
  } else {
    return hn::ConvertTo(df, hn::PromoteTo(DI(), hn::LoadU(dt, p)));
  }
}

// to_s32_saturated per lane. Highway's ConvertTo differs between targets for
// NaN and out-of-range lanes, so those never reach it: lanes are clamped, then
// 2^31 and above become INT32_MAX and NaN becomes 0 by selection.
HWY_INLINE hn::Vec<DI> ToS32Saturated(VF p) {
  const DF df;
  const DI di;
  const VF clamped = hn::Min(hn::Max(p, hn::Set(df, -kTwo31)), hn::Set(df, kBelowTwo31));
  auto i = hn::ConvertTo(di, clamped);
  const auto too_big = hn::RebindMask(di, hn::Ge(p, hn::Set(df, kTwo31)));
  i = hn::IfThenElse(too_big, hn::Set(di, INT32_MAX), i);
  return hn::IfThenZeroElse(hn::RebindMask(di, hn::IsNaN(p)), i);
}

// to_u32_saturated per lane: [2^31, 2^32) is converted as p - 2^31 (exact, an
// integer there) with the top bit set back; negatives clamp to 0, 2^32 and
// above become UINT32_MAX, NaN 0.
HWY_INLINE hn::Vec<DU> ToU32Saturated(VF p) {
  const DF df;
  const DI di;
  const DU du;
  const auto high = hn::Ge(p, hn::Set(df, kTwo31));
  const VF low_part = hn::IfThenElse(high, hn::Sub(p, hn::Set(df, kTwo31)), p);
  const VF clamped = hn::Min(hn::Max(low_part, hn::Zero(df)), hn::Set(df, kBelowTwo31));
  auto u = hn::BitCast(du, hn::ConvertTo(di, clamped));
  u = hn::IfThenElse(hn::RebindMask(du, high), hn::Or(u, hn::Set(du, 0x80000000u)), u);
  const auto too_big = hn::RebindMask(du, hn::Ge(p, hn::Set(df, kTwo32)));
  u = hn::IfThenElse(too_big, hn::Set(du, UINT32_MAX), u);
  return hn::IfThenZeroElse(hn::RebindMask(du, hn::IsNaN(p)), u);
}

// Stores the products p as T: u32 saturated, everything else through the
// saturated int32 keeping the low 8, 16 or 32 bits.
template <class T>
HWY_INLINE void StoreAsFixed(VF p, T* HWY_RESTRICT out) {
  if constexpr (std::is_same_v<T, std::uint32_t>) {
    hn::StoreU(ToU32Saturated(p), DU(), out);
  } else if constexpr (sizeof(T) == 4) {
    hn::StoreU(ToS32Saturated(p), DI(), out);
  } else {
    using U = std::make_unsigned_t<T>;
    const hn::Rebind<U, DF> dn;
    const auto low_bits = hn::TruncateTo(dn, hn::BitCast(DU(), ToS32Saturated(p)));
    hn::StoreU(low_bits, dn, reinterpret_cast<U*>(out));
  }
}

struct VectorKernels {
  template <class T>
  static void to_float(const void* src, void* dst, std::int32_t count, float factor) {
    const DF df;
    const std::size_t lanes = hn::Lanes(df);
    const std::size_t n = count > 0 ? static_cast<std::size_t>(count) : 0;
    const T* HWY_RESTRICT in = static_cast<const T*>(src);
    float* HWY_RESTRICT out = static_cast<float*>(dst);
    const float r = 1.0f / factor;  // exact: factor is a power of two
    const VF vr = hn::Set(df, r);
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes) hn::StoreU(hn::Mul(LoadAsFloat(in + i), vr), df, out + i);
    for (; i < n; ++i) out[i] = fixed_to_float(in[i], r);
  }

  template <class T>
  static void to_fixed(const void* src, void* dst, std::int32_t count, float factor) {
    const DF df;
    const std::size_t lanes = hn::Lanes(df);
    const std::size_t n = count > 0 ? static_cast<std::size_t>(count) : 0;
    const float* HWY_RESTRICT in = static_cast<const float*>(src);
    T* HWY_RESTRICT out = static_cast<T*>(dst);
    const VF vf = hn::Set(df, factor);
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes) StoreAsFixed(hn::Mul(hn::LoadU(df, in + i), vf), out + i);
    for (; i < n; ++i) out[i] = float_to_fixed<T>(in[i], factor);
  }
};

const convert_kernels* VectorConvertKernels() {
  static constexpr convert_kernels kKernels = make_convert_kernels<VectorKernels>();
  return &kKernels;
}

}  // namespace pxkit::convert::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pxkit::convert {

HWY_EXPORT(VectorConvertKernels);

const convert_kernels& active_convert_kernels() {
  const auto getter = simd::select(HWY_DISPATCH_TABLE(VectorConvertKernels));
  return getter != nullptr ? *getter() : scalar_convert_kernels();
}

}  // namespace pxkit::convert
#endif  // HWY_ONCE
