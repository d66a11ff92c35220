// Vector kernels of the conversions, compiled once per Highway target. Each
// kernel converts whole output vectors and leaves the last few elements (and,
// when streaming, the few before the first aligned one) to the scalar element
// rules, which the vector body equals bit for bit.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "convert/vector_kernels.cc"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "common/numeric-inl.h"
#include "convert/convert_kernels.h"
#include "convert/element_rules.h"
#include "common/stripes.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit::convert::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using DF = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<DF>;
using DU = hn::RebindToUnsigned<DF>;
using VF = hn::Vec<DF>;
using pxkit::HWY_NAMESPACE::TruncSaturateI32;

#if PXKIT_NATIVE_FMA_TARGET

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

// Stores a full vector: streamed (aligned) or plain (unaligned).
template <bool kStream, class D>
HWY_INLINE void Put(hn::Vec<D> v, D d, hn::TFromD<D>* HWY_RESTRICT out) {
  if constexpr (kStream) {
    hn::Stream(v, d, out);
  } else {
    hn::StoreU(v, d, out);
  }
}

// Low 8 or 16 bits of the saturated int32 of each product, as a vector of
// the narrow unsigned type with one lane per f32 lane.
template <class U>
HWY_INLINE hn::Vec<hn::Rebind<U, DF>> LowBits(VF p) {
  return hn::TruncateTo(hn::Rebind<U, DF>(), hn::BitCast(DU(), TruncSaturateI32(DF(), p)));
}

// Converts one full output vector of T from the floats at `in` (one f32
// vector for 32-bit T, two for 16-bit, four for 8-bit) multiplied by vf.
// u32 saturates; the others go through the saturated int32 and keep its low
// 8, 16 or 32 bits (narrow lanes are joined with Combine).
template <bool kStream, class T>
HWY_INLINE void FixedVector(const float* HWY_RESTRICT in, VF vf, T* HWY_RESTRICT out) {
  const DF df;
  const std::size_t lanes = hn::Lanes(df);
  const auto product = [&](std::size_t k) HWY_ATTR {
    return hn::Mul(hn::LoadU(df, in + k * lanes), vf);
  };
  if constexpr (std::is_same_v<T, std::uint32_t>) {
    Put<kStream>(ToU32Saturated(product(0)), DU(), out);
  } else if constexpr (sizeof(T) == 4) {
    Put<kStream>(TruncSaturateI32(DF(), product(0)), DI(), out);
  } else if constexpr (sizeof(T) == 2) {
    const hn::ScalableTag<std::uint16_t> d16;
    const auto v = hn::Combine(d16, LowBits<std::uint16_t>(product(1)),
                               LowBits<std::uint16_t>(product(0)));
    Put<kStream>(v, d16, reinterpret_cast<std::uint16_t*>(out));
  } else {
    const hn::ScalableTag<std::uint8_t> d8;
    const hn::Half<decltype(d8)> d8h;
    const auto lo = hn::Combine(d8h, LowBits<std::uint8_t>(product(1)),
                                LowBits<std::uint8_t>(product(0)));
    const auto hi = hn::Combine(d8h, LowBits<std::uint8_t>(product(3)),
                                LowBits<std::uint8_t>(product(2)));
    Put<kStream>(hn::Combine(d8, hi, lo), d8, reinterpret_cast<std::uint8_t*>(out));
  }
}

// Converts n elements into `out`: each full output vector with
// vector(i, stream) (stream: std::true_type or std::false_type), the rest with
// one(i). Large calls stream (see stream_bytes()) from the first element
// aligned for it on; the elements before it take one(i) too.
template <class TOut, class Vector, class One>
HWY_INLINE void ConvertAll(TOut* out, std::size_t n, std::size_t bytes_per_element,
                           Vector vector, One one) {
  const std::size_t step = hn::Lanes(hn::ScalableTag<TOut>());
  const auto address = reinterpret_cast<std::uintptr_t>(out);
  std::size_t i = 0;
  if (n * bytes_per_element >= stream_bytes() && address % sizeof(TOut) == 0) {
    const std::size_t vector_bytes = step * sizeof(TOut);
    const std::size_t head = (vector_bytes - address % vector_bytes) % vector_bytes / sizeof(TOut);
    for (; i < head && i < n; ++i) one(i);
    for (; i + step <= n; i += step) vector(i, std::true_type());
    hwy::FlushStream();  // order the streamed stores before the stripe is reported done
  }
  for (; i + step <= n; i += step) vector(i, std::false_type());
  for (; i < n; ++i) one(i);
}

struct VectorKernels {
  template <class T>
  static void to_float(const void* src, void* dst, std::int32_t count, float factor) {
    const std::size_t n = count > 0 ? static_cast<std::size_t>(count) : 0;
    const T* HWY_RESTRICT in = static_cast<const T*>(src);
    float* HWY_RESTRICT out = static_cast<float*>(dst);
    const float r = 1.0f / factor;  // exact: factor is a power of two
    const VF vr = hn::Set(DF(), r);
    ConvertAll(
        out, n, sizeof(T) + sizeof(float),
        [&](std::size_t i, auto stream) HWY_ATTR {
          Put<decltype(stream)::value>(hn::Mul(LoadAsFloat(in + i), vr), DF(), out + i);
        },
        [&](std::size_t i) HWY_ATTR { out[i] = fixed_to_float(in[i], r); });
  }

  template <class T>
  static void to_fixed(const void* src, void* dst, std::int32_t count, float factor) {
    const std::size_t n = count > 0 ? static_cast<std::size_t>(count) : 0;
    const float* HWY_RESTRICT in = static_cast<const float*>(src);
    T* HWY_RESTRICT out = static_cast<T*>(dst);
    const VF vf = hn::Set(DF(), factor);
    ConvertAll(
        out, n, sizeof(float) + sizeof(T),
        [&](std::size_t i, auto stream) HWY_ATTR {
          FixedVector<decltype(stream)::value>(in + i, vf, out + i);
        },
        [&](std::size_t i) HWY_ATTR { out[i] = float_to_fixed<T>(in[i], factor); });
  }
};

const ConvertKernelTable* VectorConvertKernels() {
  static constexpr ConvertKernelTable kKernels = make_convert_kernels<VectorKernels>();
  return &kKernels;
}

#else

const ConvertKernelTable* VectorConvertKernels() { return nullptr; }  // the scalar reference instead

#endif

}  // namespace pxkit::convert::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pxkit::convert {

HWY_EXPORT(VectorConvertKernels);

namespace {
std::atomic<std::size_t> g_stream_bytes{kDefaultStreamBytes};
}  // namespace

std::size_t stream_bytes() { return g_stream_bytes.load(std::memory_order_relaxed); }
void set_stream_bytes(std::size_t bytes) { g_stream_bytes.store(bytes, std::memory_order_relaxed); }

const ConvertKernelTable& active_convert_kernels() {
  return stripes::choose_table(HWY_DISPATCH_TABLE(VectorConvertKernels), scalar_convert_kernels());
}

}  // namespace pxkit::convert
#endif  // HWY_ONCE
