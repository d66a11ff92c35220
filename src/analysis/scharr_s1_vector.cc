// Vector row passes of the Scharr edge suppression, compiled once per Highway
// target: u16 pixels in 32-bit integer lanes, f32 pixels in float lanes with
// the scalar rules' operations in the same order (nothing fused). Columns a
// full vector does not cover go through the scalar rules.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "analysis/scharr_s1_vector.cc"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

#include "analysis/scharr_s1_kernels.h"
#include "simd/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit::analysis::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if !PXKIT_NATIVE_FMA_TARGET
const S1KernelTable* S1VectorKernels() { return nullptr; }
#else

using DI = hn::ScalableTag<std::int32_t>;
using DF = hn::ScalableTag<float>;
using VI = hn::Vec<DI>;
using VF = hn::Vec<DF>;

// Integer x 3 and x 10 as shifts and adds (exact, cheaper than a 32-bit multiply).
HWY_INLINE VI Times3(VI x) { return hn::Add(hn::ShiftLeft<1>(x), x); }
HWY_INLINE VI Times10(VI x) { return hn::Add(hn::ShiftLeft<3>(x), hn::ShiftLeft<1>(x)); }

// One vector of pixels at column c, widened to the accumulator lanes.
HWY_INLINE VI LoadPixels(const std::uint16_t* p) {
  return hn::PromoteTo(DI(), hn::LoadU(hn::Rebind<std::uint16_t, DI>(), p));
}
HWY_INLINE VF LoadPixels(const float* p) { return hn::LoadU(DF(), p); }

HWY_INLINE VI Smooth(VI l, VI m, VI r) { return hn::Add(Times3(hn::Add(l, r)), Times10(m)); }
HWY_INLINE VF Smooth(VF l, VF m, VF r) {
  const DF df;
  return hn::Add(hn::Mul(hn::Set(df, 3.0f), hn::Add(l, r)), hn::Mul(hn::Set(df, 10.0f), m));
}

HWY_INLINE VI Sum(VI s_t, VI s_b, VI d_t, VI d_m, VI d_b) {
  return hn::Add(hn::Abs(hn::Add(Times3(hn::Add(d_t, d_b)), Times10(d_m))), hn::Abs(hn::Sub(s_b, s_t)));
}
HWY_INLINE VF Sum(VF s_t, VF s_b, VF d_t, VF d_m, VF d_b) {
  const DF df;
  const VF gx = hn::Add(hn::Mul(hn::Set(df, 3.0f), hn::Add(d_t, d_b)), hn::Mul(hn::Set(df, 10.0f), d_m));
  return hn::Add(hn::Abs(gx), hn::Abs(hn::Sub(s_b, s_t)));
}

template <S1Test kTest>
HWY_INLINE void StoreResult(VI sum, const std::uint16_t* p, const S1Limits<std::uint16_t>& lim,
                            std::uint16_t* out) {
  const hn::Rebind<std::uint16_t, DI> d16;
  const auto zero = hn::Gt(sum, hn::Set(DI(), lim.threshold));
  hn::StoreU(hn::DemoteTo(d16, hn::IfThenZeroElse(zero, LoadPixels(p))), d16, out);
}
template <S1Test kTest>
HWY_INLINE void StoreResult(VF sum, const float* p, const S1Limits<float>& lim, float* out) {
  const DF df;
  const VF px = hn::LoadU(df, p);
  const VF tested = kTest == S1Test::kRelative ? hn::Div(sum, hn::Add(px, hn::Set(df, lim.epsilon)))
                                               : sum;
  hn::StoreU(hn::IfThenZeroElse(hn::Gt(tested, hn::Set(df, lim.threshold)), px), df, out);
}

struct VectorRows {
  template <class T, class A>
  static void pass(const T* p, std::size_t w, A* s, A* d) {
    const std::size_t lanes = hn::Lanes(DI());
    std::size_t c = 1;
    for (; c + lanes + 1 <= w; c += lanes) {
      const auto l = LoadPixels(p + c - 1), m = LoadPixels(p + c), r = LoadPixels(p + c + 1);
      hn::StoreU(Smooth(l, m, r), hn::DFromV<decltype(l)>(), s + c);
      hn::StoreU(hn::Sub(r, l), hn::DFromV<decltype(l)>(), d + c);
    }
    for (; c + 1 < w; ++c) {
      s[c] = s1_smooth(p[c - 1], p[c], p[c + 1]);
      d[c] = s1_diff(p[c - 1], p[c + 1]);
    }
  }

  // The row below is passed and the output row combined in one sweep, so
  // that the new s and d values are used while still in registers.
  template <S1Test kTest, class T, class A>
  static void next_row(A* const s[3], A* const d[3], const T* p, T* out, std::size_t w,
                       const S1Limits<T>& limits) {
    using D = std::conditional_t<std::is_same_v<A, float>, DF, DI>;
    const D da;
    const std::size_t lanes = hn::Lanes(da);
    const T* below = p + w;
    std::size_t c = 1;
    for (; c + lanes + 1 <= w; c += lanes) {
      const auto l = LoadPixels(below + c - 1), r = LoadPixels(below + c + 1);
      const auto s_b = Smooth(l, LoadPixels(below + c), r);
      const auto d_b = hn::Sub(r, l);
      hn::StoreU(s_b, da, s[2] + c);
      hn::StoreU(d_b, da, d[2] + c);
      const auto sum = Sum(hn::LoadU(da, s[0] + c), s_b, hn::LoadU(da, d[0] + c), hn::LoadU(da, d[1] + c), d_b);
      StoreResult<kTest>(sum, p + c, limits, out + c);
    }
    for (; c + 1 < w; ++c) {
      s[2][c] = s1_smooth(below[c - 1], below[c], below[c + 1]);
      d[2][c] = s1_diff(below[c - 1], below[c + 1]);
      out[c] = s1_result<kTest>(s1_sum(s[0][c], s[2][c], d[0][c], d[1][c], d[2][c]), p[c], limits);
    }
  }
};

const S1KernelTable* S1VectorKernels() {
  static constexpr S1KernelTable kKernels = make_s1_kernels<VectorRows>();
  return &kKernels;
}

#endif  // HWY_TARGET

}  // namespace pxkit::analysis::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pxkit::analysis {

HWY_EXPORT(S1VectorKernels);

const S1KernelTable& s1_active_kernels() {
  return stripes::choose_table(HWY_DISPATCH_TABLE(S1VectorKernels), s1_scalar_kernels());
}

}  // namespace pxkit::analysis
#endif  // HWY_ONCE
