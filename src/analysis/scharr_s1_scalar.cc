// Scalar reference row passes of the Scharr edge suppression.
#include "analysis/scharr_s1_kernels.h"

namespace pxkit::analysis {
namespace {

struct ScalarRows {
  template <class T, class A>
  static void pass(const T* p, std::size_t w, A* s, A* d) {
    for (std::size_t c = 1; c + 1 < w; ++c) {
      s[c] = s1_smooth(p[c - 1], p[c], p[c + 1]);
      d[c] = s1_diff(p[c - 1], p[c + 1]);
    }
  }

  template <S1Test kTest, class T, class A>
  static void next_row(A* const s[3], A* const d[3], const T* p, T* out, std::size_t w,
                       const S1Limits<T>& limits) {
    pass(p + w, w, s[2], d[2]);
    for (std::size_t c = 1; c + 1 < w; ++c)
      out[c] = s1_result<kTest>(s1_sum(s[0][c], s[2][c], d[0][c], d[1][c], d[2][c]), p[c], limits);
  }
};

constexpr S1KernelTable kScalar = make_s1_kernels<ScalarRows>();

}  // namespace

const S1KernelTable& s1_scalar_kernels() { return kScalar; }

}  // namespace pxkit::analysis
