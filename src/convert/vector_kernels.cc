// Vector kernels of the conversions, compiled once per Highway target. Each
// kernel converts whole, aligned output vectors and leaves the few elements
// before the first aligned one and after the last to the scalar element rules,
// which the vector body equals bit for bit.
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
using pxkit::HWY_NAMESPACE::TruncInRange;
using pxkit::HWY_NAMESPACE::TruncSaturateI32;
using pxkit::HWY_NAMESPACE::TruncSaturateU32;

#if PXKIT_NATIVE_FMA_TARGET

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

// How a full output vector is stored: streamed past the caches, aligned, or
// unaligned (only when the output is not even aligned to its element size).
enum class StoreKind { kStream, kAligned, kUnaligned };
template <StoreKind kKind>
using StoreAs = std::integral_constant<StoreKind, kKind>;

template <StoreKind kKind, class D>
HWY_INLINE void Put(hn::Vec<D> v, D d, hn::TFromD<D>* HWY_RESTRICT out) {
  if constexpr (kKind == StoreKind::kStream) {
    hn::Stream(v, d, out);
  } else if constexpr (kKind == StoreKind::kAligned) {
    hn::Store(v, d, out);
  } else {
    hn::StoreU(v, d, out);
  }
}

// A vector whose low 8 and 16 bits are those of the saturated int32 of each
// product. On x86 the raw conversion gives INT32_MIN for NaN and for every
// lane out of range, whose low bits are already right except for 2^31 and
// above (INT32_MAX): one exclusive-or repairs those.
HWY_INLINE hn::Vec<DU> SaturatedLowBits(VF p) {
#if HWY_ARCH_X86 && HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
  const DF df;
  const auto too_big = hn::VecFromMask(DU(), hn::RebindMask(DU(), hn::Ge(p, hn::Set(df, kTwo31))));
  return hn::Xor(hn::BitCast(DU(), TruncInRange(df, p)), too_big);
#else
  return hn::BitCast(DU(), TruncSaturateI32(DF(), p));
#endif
}

// Low 8 or 16 bits of the saturated int32 of each product, as a vector of
// the narrow unsigned type with one lane per f32 lane.
template <class U>
HWY_INLINE hn::Vec<hn::Rebind<U, DF>> LowBits(VF p) {
  return hn::TruncateTo(hn::Rebind<U, DF>(), SaturatedLowBits(p));
}

// Converts one full output vector of T from the floats at `in` (one f32
// vector for 32-bit T, two for 16-bit, four for 8-bit) multiplied by vf.
// u32 saturates; the others go through the saturated int32 and keep its low
// 8, 16 or 32 bits (narrow lanes are joined with Combine).
template <StoreKind kKind, class T>
HWY_INLINE void FixedVector(const float* HWY_RESTRICT in, VF vf, T* HWY_RESTRICT out) {
  const DF df;
  const std::size_t lanes = hn::Lanes(df);
  const auto product = [&](std::size_t k) HWY_ATTR {
    return hn::Mul(hn::LoadU(df, in + k * lanes), vf);
  };
  if constexpr (std::is_same_v<T, std::uint32_t>) {
    Put<kKind>(TruncSaturateU32(DF(), product(0)), DU(), out);
  } else if constexpr (sizeof(T) == 4) {
    Put<kKind>(TruncSaturateI32(DF(), product(0)), DI(), out);
  } else if constexpr (sizeof(T) == 2) {
    const hn::ScalableTag<std::uint16_t> d16;
#if HWY_TARGET == HWY_AVX2
    // AVX2 has no truncating narrow: keep the low halves, pack them without
    // saturating (they are in range) and put the 64-bit quarters in order.
    const __m256i low16 = _mm256_set1_epi32(0xFFFF);
    const __m256i a = _mm256_and_si256(SaturatedLowBits(product(0)).raw, low16);
    const __m256i b = _mm256_and_si256(SaturatedLowBits(product(1)).raw, low16);
    const hn::Vec<decltype(d16)> v{_mm256_permute4x64_epi64(_mm256_packus_epi32(a, b), 0xD8)};
#else
    const auto v = hn::Combine(d16, LowBits<std::uint16_t>(product(1)),
                               LowBits<std::uint16_t>(product(0)));
#endif
    Put<kKind>(v, d16, reinterpret_cast<std::uint16_t*>(out));
  } else {
    const hn::ScalableTag<std::uint8_t> d8;
    const hn::Half<decltype(d8)> d8h;
    const auto lo = hn::Combine(d8h, LowBits<std::uint8_t>(product(1)),
                                LowBits<std::uint8_t>(product(0)));
    const auto hi = hn::Combine(d8h, LowBits<std::uint8_t>(product(3)),
                                LowBits<std::uint8_t>(product(2)));
    Put<kKind>(hn::Combine(d8, hi, lo), d8, reinterpret_cast<std::uint8_t*>(out));
  }
}

// Converts n elements into `out`: the elements before the first vector-aligned
// output with one(i), each full output vector from there with vector(i, kind)
// (kind: a StoreAs<...>), the rest with one(i). Stores that straddle cache
// lines cost more than the scalar head, on some cores almost twice the loop.
// Large calls stream (see stream_bytes()).
template <class TOut, class Vector, class One>
HWY_INLINE void ConvertAll(TOut* out, std::size_t n, std::size_t bytes_per_element,
                           Vector vector, One one) {
  const std::size_t step = hn::Lanes(hn::ScalableTag<TOut>());
  const auto address = reinterpret_cast<std::uintptr_t>(out);
  std::size_t i = 0;
  if (address % sizeof(TOut) == 0) {
    const std::size_t vector_bytes = step * sizeof(TOut);
    const std::size_t head = (vector_bytes - address % vector_bytes) % vector_bytes / sizeof(TOut);
    for (; i < head && i < n; ++i) one(i);
    if (n * bytes_per_element >= stream_bytes()) {
      for (; i + step <= n; i += step) vector(i, StoreAs<StoreKind::kStream>());
      hwy::FlushStream();  // order the streamed stores before the stripe is reported done
    } else {
      for (; i + step <= n; i += step) vector(i, StoreAs<StoreKind::kAligned>());
    }
  }
  for (; i + step <= n; i += step) vector(i, StoreAs<StoreKind::kUnaligned>());
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
        [&](std::size_t i, auto kind) HWY_ATTR {
          Put<decltype(kind)::value>(hn::Mul(LoadAsFloat(in + i), vr), DF(), out + i);
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
        [&](std::size_t i, auto kind) HWY_ATTR {
          FixedVector<decltype(kind)::value>(in + i, vf, out + i);
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
