// The exported arctangent family over the shared table.
#include "tof/fast_atan.h"

#include "pxkit.h"

namespace {

using namespace pxkit::atan_detail;

// Lookup of q >= 0, interpolated or from the entry alone.
template <bool kInterpolate>
float lookup(float q) {
  if (!below_saturation(q)) return kSaturated;
  const Segment s = segment(q);
  return kInterpolate ? rising(s.base, s) : s.base;
}

// atan(r) odd-symmetric; zero takes the negative branch and yields -0.0.
template <bool kInterpolate>
float signed_atan(float r) {
  if (r > 0.0f) return lookup<kInterpolate>(r);
  return negate(lookup<kInterpolate>(-r));
}

// atan(r) folded into [0, pi).
template <bool kInterpolate>
float half_turn_atan(float r) {
  if (r >= 0.0f) return lookup<kInterpolate>(r);
  const float q = -r;
  if (!below_saturation(q)) return kSaturatedQ2;
  const Segment s = segment(q);
  return kInterpolate ? falling(kPi - s.base, s) : kPi - s.base;
}

}  // namespace

extern "C" PXKIT_API float fast_atan2(float y, float x) { return pxkit::fast_atan2_scalar(y, x); }
extern "C" PXKIT_API float fast_atan(float r) { return signed_atan<true>(r); }
extern "C" PXKIT_API float fast_atan_nearest(float r) { return signed_atan<false>(r); }
extern "C" PXKIT_API float fast_atan_pi(float r) { return half_turn_atan<true>(r); }
extern "C" PXKIT_API float fast_atan_pi_nearest(float r) { return half_turn_atan<false>(r); }
