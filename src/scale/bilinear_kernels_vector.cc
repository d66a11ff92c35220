// Vector bilinear kernels, compiled once per Highway target. Row bodies work
// on whole vectors of 32-bit lanes (u16 samples widened, f32 samples as they
// are); the last columns of a row, the columns that read the last source
// column, and rows whose source and destination memory overlap take the scalar
// row loops, which the vector bodies equal bit for bit. The two-direction
// kernels keep only the two Q4 rows that the current output row needs.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "scale/bilinear_kernels_vector.cc"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "common/numeric-inl.h"
#include "scale/bilinear_kernels.h"
#include "scale/bilinear_rows.h"
#include "simd/dispatch.h"

// Vector kernels on the targets the library dispatches to; Highway's others
// (its scalar one included) report no table.
#undef PXKIT_SCALE_VECTOR_KERNELS
#if HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_NEON
#define PXKIT_SCALE_VECTOR_KERNELS 1
#else
#define PXKIT_SCALE_VECTOR_KERNELS 0
#endif

HWY_BEFORE_NAMESPACE();
namespace pxkit::scale::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if PXKIT_SCALE_VECTOR_KERNELS
namespace {

static_assert(std::endian::native == std::endian::little, "weight pairs and sample pairs are split by shifts");

using DU = hn::ScalableTag<std::uint32_t>;
using DI = hn::RebindToSigned<DU>;
using DF = hn::RebindToFloat<DU>;
using D16 = hn::Rebind<std::uint16_t, DU>;  // one u16 per 32-bit lane
using VU = hn::Vec<DU>;
using VF = hn::Vec<DF>;
using pxkit::HWY_NAMESPACE::TruncInRange;
using pxkit::HWY_NAMESPACE::TruncSaturateU32;

// trunc_saturate_u32 for lanes known to be below 2^31 (and not NaN): the short path.
HWY_INLINE VU TruncU32Small(VF p) {
  return hn::BitCast(DU(), TruncInRange(DF(), hn::Max(p, hn::Zero(DF()))));
}
// Whether every lane of every product is below 2^31 (false for any NaN), so
// that TruncU32Small gives what TruncSaturateU32 gives.
template <class... V>
HWY_INLINE bool AllSmall(VF p, V... more) {
  const DF df;
  const VF limit = hn::Set(df, 2147483648.0f);
  auto small = hn::Lt(p, limit);
  ((small = hn::And(small, hn::Lt(more, limit))), ...);
  return hn::AllTrue(df, small);
}

// u32 lanes below 2^31 to f32 (through i32: exact below 2^24, rounded to
// nearest above, as the u32 -> f32 conversion of the scalar rules).
HWY_INLINE VF SmallToFloat(VU v) { return hn::ConvertTo(DF(), hn::BitCast(DI(), v)); }

// N samples widened to 32-bit lanes, and back.
HWY_INLINE VU LoadWide(const std::uint16_t* p) { return hn::PromoteTo(DU(), hn::LoadU(D16(), p)); }
HWY_INLINE void StoreNarrow(VU v, std::uint16_t* p) { hn::StoreU(hn::TruncateTo(D16(), v), D16(), p); }

// Column tables for the lanes from column i: left indices, w0 and w1.
struct ColumnLanes {
  VU index, w0, w1;
};
HWY_INLINE ColumnLanes LoadColumns(const bilinear_scale_tables& t, std::size_t i) {
  const DU du;
  const VU pairs = hn::LoadU(du, reinterpret_cast<const std::uint32_t*>(t.column_weights + i));
  return {hn::LoadU(du, t.column_index + i), hn::And(pairs, hn::Set(du, 0xFFFFu)), hn::ShiftRight<16>(pairs)};
}

// Samples at the left indices and their right neighbours, as 32-bit lanes.
// u16 pairs come in one 32-bit gather (the left sample in the low half).
HWY_INLINE void GatherPairs(const std::uint16_t* in, const ColumnLanes& c, VU* a, VU* b) {
  const DU du;
  const VU pairs = hn::GatherOffset(du, reinterpret_cast<const std::uint32_t*>(in),
                                    hn::BitCast(DI(), hn::ShiftLeft<1>(c.index)));
  *a = hn::And(pairs, hn::Set(du, 0xFFFFu));
  *b = hn::ShiftRight<16>(pairs);
}
// f32 pairs come in 64-bit gathers (half as many loads as two 32-bit
// gathers), then split into left and right samples.
HWY_INLINE void GatherPairs(const float* in, const ColumnLanes& c, VF* a, VF* b) {
  const DU du;
  const hn::Half<DU> dh;
  const hn::Repartition<std::uint64_t, DU> d64;
  const hn::RebindToSigned<decltype(d64)> di64;
  const auto* pairs = reinterpret_cast<const std::uint64_t*>(in);
  const VU offsets = hn::ShiftLeft<2>(c.index);  // bytes; rows stay below 2 GiB
  const auto lo = hn::GatherOffset(d64, pairs, hn::BitCast(di64, hn::PromoteTo(d64, hn::LowerHalf(dh, offsets))));
  const auto hi = hn::GatherOffset(d64, pairs, hn::BitCast(di64, hn::PromoteTo(d64, hn::UpperHalf(dh, offsets))));
  *a = hn::BitCast(DF(), hn::ConcatEven(du, hn::BitCast(du, hi), hn::BitCast(du, lo)));
  *b = hn::BitCast(DF(), hn::ConcatOdd(du, hn::BitCast(du, hi), hn::BitCast(du, lo)));
}

// f32 pairs of the columns from `i` for rows `in` of `width` samples. On
// AVX-512, where those columns read at most 32 consecutive samples inside the
// row (down-scaling by less than 2, and every up-scaling), two loads and two
// lane permutes replace the gathers.
HWY_INLINE void ColumnPairs(const float* in, std::uint32_t width, const bilinear_scale_tables& t,
                            std::size_t i, const ColumnLanes& c, VF* a, VF* b) {
#if HWY_TARGET == HWY_AVX3
  const std::uint32_t first = t.column_index[i];
  if (t.column_index[i + 15] + 1 - first <= 31 && std::size_t{first} + 32 <= width) {
    const __m512 lo = _mm512_loadu_ps(in + first);
    const __m512 hi = _mm512_loadu_ps(in + first + 16);
    const __m512i rel = _mm512_sub_epi32(c.index.raw, _mm512_set1_epi32(static_cast<int>(first)));
    *a = VF{_mm512_permutex2var_ps(lo, rel, hi)};
    *b = VF{_mm512_permutex2var_ps(lo, _mm512_add_epi32(rel, _mm512_set1_epi32(1)), hi)};
    return;
  }
#else
  (void)width;
  (void)t;
  (void)i;
#endif
  GatherPairs(in, c, a, b);
}

// One-direction rule with w1 != 0 on every lane.
HWY_INLINE VU LerpU16(VU a, VU b, VU w0, VU w1) {
  const VU sum = hn::Add(hn::Add(hn::Mul(a, w0), hn::Mul(b, w1)), hn::Set(DU(), 1024u));
  return hn::ShiftRight<11>(sum);
}
HWY_INLINE VF LerpF32(VF a, VF b, VF w0, VF w1) {
  const VF pa = hn::Mul(a, w0), pb = hn::Mul(b, w1);
  const VU products = AllSmall(pa, pb) ? hn::Add(TruncU32Small(pa), TruncU32Small(pb))
                                       : hn::Add(TruncSaturateU32(DF(), pa), TruncSaturateU32(DF(), pb));
  return SmallToFloat(hn::ShiftRight<11>(hn::Add(products, hn::Set(DU(), 1024u))));
}

// Lane counts of the row loops.
HWY_INLINE std::size_t Lanes32() { return hn::Lanes(DU()); }

// ---- rows -----------------------------------------------------------------

template <class T>
void HRow(const T* in, T* out, const common_img_scale_ctx* c) {
  const bilinear_scale_tables& t = c->tables;
  const std::size_t n = Lanes32();
  std::size_t i = 0;
  for (; i + n <= c->inner_columns; i += n) {
    const ColumnLanes col = LoadColumns(t, i);
    if constexpr (std::is_same_v<T, std::uint16_t>) {
      VU a, b;
      GatherPairs(in, col, &a, &b);
      // w1 = 0 gives (a x 2048 + 1024) >> 11 = a: no selection needed.
      StoreNarrow(LerpU16(a, b, col.w0, col.w1), out + i);
    } else {
      VF a, b;
      ColumnPairs(in, c->src_width, t, i, col, &a, &b);
      const VF r = LerpF32(a, b, hn::LoadU(DF(), c->column_w0_f32 + i), hn::LoadU(DF(), c->column_w1_f32 + i));
      const auto copied = hn::RebindMask(DF(), hn::Eq(col.w1, hn::Zero(DU())));
      hn::StoreU(hn::IfThenElse(copied, a, r), DF(), out + i);
    }
  }
  h_row(in, out, t, static_cast<std::uint32_t>(i), c->dst_width);
}

template <class T>
void LerpRow(const T* a, const T* b, T* out, weight_pair w, std::uint32_t width) {
  const std::size_t n = Lanes32();
  std::size_t i = 0;
  if constexpr (std::is_same_v<T, std::uint16_t>) {
    const VU w0 = hn::Set(DU(), w.w0), w1 = hn::Set(DU(), w.w1);
    for (; i + n <= width; i += n) StoreNarrow(LerpU16(LoadWide(a + i), LoadWide(b + i), w0, w1), out + i);
  } else {
    const DF df;
    const VF w0 = hn::Set(df, static_cast<float>(w.w0)), w1 = hn::Set(df, static_cast<float>(w.w1));
    for (; i + n <= width; i += n) hn::StoreU(LerpF32(hn::LoadU(df, a + i), hn::LoadU(df, b + i), w0, w1), df, out + i);
  }
  lerp_row(a, b, out, w, static_cast<std::uint32_t>(i), width);
}

template <class T>
void MeanRow(const T* a, const T* b, T* out, std::uint32_t width) {
  const hn::ScalableTag<T> d;
  const std::size_t n = hn::Lanes(d);
  std::size_t i = 0;
  for (; i + n <= width; i += n) {
    if constexpr (std::is_same_v<T, std::uint16_t>) {
      hn::StoreU(hn::AverageRound(hn::LoadU(d, a + i), hn::LoadU(d, b + i)), d, out + i);  // (a + b + 1) >> 1
    } else {
      hn::StoreU(hn::Mul(hn::Add(hn::LoadU(d, a + i), hn::LoadU(d, b + i)), hn::Set(d, 0.5f)), d, out + i);
    }
  }
  mean_row(a, b, out, static_cast<std::uint32_t>(i), width);
}

template <class T>
void Q4Row(const T* in, std::uint32_t* q4, const common_img_scale_ctx* c) {
  const bilinear_scale_tables& t = c->tables;
  const DU du;
  const std::size_t n = Lanes32();
  std::size_t i = 0;
  for (; i + n <= c->inner_columns; i += n) {
    const ColumnLanes col = LoadColumns(t, i);
    if constexpr (std::is_same_v<T, std::uint16_t>) {
      VU a, b;
      GatherPairs(in, col, &a, &b);
      // w1 = 0 gives (a x 2048) >> 7 = a x 16: no selection needed.
      hn::StoreU(hn::ShiftRight<7>(hn::Add(hn::Mul(a, col.w0), hn::Mul(b, col.w1))), du, q4 + i);
    } else {
      VF a, b;
      ColumnPairs(in, c->src_width, t, i, col, &a, &b);
      const VF pa = hn::Mul(a, hn::LoadU(DF(), c->column_w0_f32 + i));
      const VF pb = hn::Mul(b, hn::LoadU(DF(), c->column_w1_f32 + i));
      if (AllSmall(pa, pb)) {
        // Where w1 = 0 the general rule gives the copy rule's trunc(a x 16)
        // here: a x 2048 is exact and below 2^31, b x 0 is 0, and
        // trunc(a x 2048) >> 7 = trunc(a x 16) for a >= 0 (both 0 below).
        hn::StoreU(hn::ShiftRight<7>(hn::Add(TruncU32Small(pa), TruncU32Small(pb))), du, q4 + i);
      } else {
        const VU mixed = hn::ShiftRight<7>(hn::Add(TruncSaturateU32(DF(), pa), TruncSaturateU32(DF(), pb)));
        const VU copied = TruncSaturateU32(DF(), hn::Mul(a, hn::Set(DF(), 16.0f)));
        hn::StoreU(hn::IfThenElse(hn::Eq(col.w1, hn::Zero(du)), copied, mixed), du, q4 + i);
      }
    }
  }
  q4_row(in, q4, t, static_cast<std::uint32_t>(i), c->dst_width);
}

template <class T>
HWY_INLINE void StoreQ(VU v, T* out) {
  if constexpr (std::is_same_v<T, std::uint16_t>) {
    StoreNarrow(v, out);
  } else {
    hn::StoreU(SmallToFloat(v), DF(), out);  // below 2^29 for every input
  }
}

template <class T>
void VerticalRow(const std::uint32_t* ta, const std::uint32_t* tb, T* out, weight_pair w, std::uint32_t width) {
  const DU du;
  const std::size_t n = Lanes32();
  std::size_t i = 0;
  if (w.w1 == 0) {
    for (; i + n <= width; i += n) StoreQ(hn::ShiftRight<4>(hn::LoadU(du, ta + i)), out + i);
  } else {
    const VU w0 = hn::Set(du, w.w0), w1 = hn::Set(du, w.w1), one = hn::Set(du, 1u);
    for (; i + n <= width; i += n) {
      const VU sa = hn::ShiftRight<14>(hn::Mul(hn::LoadU(du, ta + i), w0));
      const VU sb = hn::ShiftRight<14>(hn::Mul(hn::LoadU(du, tb + i), w1));
      StoreQ(hn::ShiftRight<1>(hn::Add(hn::Add(sa, sb), one)), out + i);
    }
  }
  vertical_row(ta, tb, out, w, static_cast<std::uint32_t>(i), width);
}

// Copies a whole row: a block copy, or the ascending loop when the rows overlap.
template <class T>
void CopyRow(const T* a, T* out, std::uint32_t width) {
  const std::size_t bytes = std::size_t{width} * sizeof(T);
  if (overlaps(a, bytes, out, bytes)) {
    copy_row(a, out, 0, width);
  } else {
    std::memcpy(out, a, bytes);
  }
}

// ---- kernels --------------------------------------------------------------

struct VectorKernels {
  template <class T>
  static std::int32_t h(const common_img_scale_ctx* c, const void* src, void* dst) {
    const std::size_t in_bytes = std::size_t{c->src_width} * sizeof(T);
    const std::size_t out_bytes = std::size_t{c->dst_width} * sizeof(T);
    for (std::uint32_t r = 0; r < c->src_height; ++r) {
      const T* in = row_at<T>(src, c->src_stride, r);
      T* out = row_at<T>(dst, c->dst_stride, r);
      if (overlaps(in, in_bytes, out, out_bytes)) {
        h_row(in, out, c->tables, 0, c->dst_width);
      } else {
        HRow(in, out, c);
      }
    }
    return 0;
  }

  template <class T>
  static std::int32_t v(const common_img_scale_ctx* c, const void* src, void* dst) {
    const std::size_t bytes = std::size_t{c->dst_width} * sizeof(T);
    for (std::uint32_t j = 0; j < c->dst_height; ++j) {
      const std::uint32_t y = c->tables.row_index[j];
      const weight_pair w = c->tables.row_weights[j];
      const T* a = row_at<T>(src, c->src_stride, y);
      T* out = row_at<T>(dst, c->dst_stride, j);
      if (w.w1 == 0) {
        CopyRow(a, out, c->dst_width);
        continue;
      }
      const T* b = row_at<T>(src, c->src_stride, y + 1);
      if (overlaps(a, bytes, out, bytes) || overlaps(b, bytes, out, bytes)) {
        lerp_row(a, b, out, w, 0, c->dst_width);
      } else {
        LerpRow(a, b, out, w, c->dst_width);
      }
    }
    return 0;
  }

  template <class T>
  static std::int32_t v2x(const common_img_scale_ctx* c, const void* src, void* dst) {
    const std::size_t bytes = std::size_t{c->dst_width} * sizeof(T);
    for (std::uint32_t j = 0; j < c->dst_height; ++j) {
      const T* a = row_at<T>(src, c->src_stride, j / 2);
      T* out = row_at<T>(dst, c->dst_stride, j);
      if (j % 2 == 0 || j + 1 == c->dst_height) {
        CopyRow(a, out, c->dst_width);
        continue;
      }
      const T* b = row_at<T>(src, c->src_stride, j / 2 + 1);
      if (overlaps(a, bytes, out, bytes) || overlaps(b, bytes, out, bytes)) {
        mean_row(a, b, out, 0, c->dst_width);
      } else {
        MeanRow(a, b, out, c->dst_width);
      }
    }
    return 0;
  }

  template <class T>
  static std::int32_t hv(const common_img_scale_ctx* c, const void* src, void* dst) {
    const std::size_t width = c->dst_width;
    const std::size_t src_bytes = std::size_t{c->src_stride} * (c->src_height - 1) + c->src_width * sizeof(T);
    const std::size_t dst_bytes = std::size_t{c->dst_stride} * (c->dst_height - 1) + width * sizeof(T);
    if (overlaps(src, src_bytes, dst, dst_bytes)) {
      // Output rows may change source rows not yet read: first pass over the
      // whole source, as the reference does, then the second pass.
      for (std::uint32_t r = 0; r < c->src_height; ++r) {
        Q4Row(row_at<T>(src, c->src_stride, r), c->intermediate + r * width, c);
      }
      for (std::uint32_t j = 0; j < c->dst_height; ++j) {
        const std::uint32_t* ta = c->intermediate + c->tables.row_index[j] * width;
        VerticalRow(ta, ta + width, row_at<T>(dst, c->dst_stride, j), c->tables.row_weights[j], c->dst_width);
      }
      return 0;
    }
    // Source row r is held in slot r % 2 of the intermediate; row indices only
    // grow, so each needed row is computed once, while it is in cache.
    std::uint32_t* slot[2] = {c->intermediate, c->intermediate + (c->src_height > 1 ? width : 0)};
    std::uint32_t held[2] = {UINT32_MAX, UINT32_MAX};
    const auto hold = [&](std::uint32_t r) {
      if (held[r & 1] != r) {
        Q4Row(row_at<T>(src, c->src_stride, r), slot[r & 1], c);
        held[r & 1] = r;
      }
      return slot[r & 1];
    };
    for (std::uint32_t j = 0; j < c->dst_height; ++j) {
      const std::uint32_t y = c->tables.row_index[j];
      const weight_pair w = c->tables.row_weights[j];
      const std::uint32_t* ta = hold(y);
      const std::uint32_t* tb = w.w1 != 0 ? hold(y + 1) : ta;
      VerticalRow(ta, tb, row_at<T>(dst, c->dst_stride, j), w, c->dst_width);
    }
    return 0;
  }
};

}  // namespace

const bilinear_kernels* VectorBilinearKernels() {
  static constexpr bilinear_kernels kKernels = make_bilinear_kernels<VectorKernels>();
  return &kKernels;
}

#else  // !PXKIT_SCALE_VECTOR_KERNELS

const bilinear_kernels* VectorBilinearKernels() { return nullptr; }

#endif

}  // namespace pxkit::scale::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pxkit::scale {

HWY_EXPORT(VectorBilinearKernels);

const bilinear_kernels& active_bilinear_kernels() {
  const auto getter = simd::select(HWY_DISPATCH_TABLE(VectorBilinearKernels));
  const bilinear_kernels* vector = getter != nullptr ? getter() : nullptr;
  return vector != nullptr ? *vector : scalar_bilinear_kernels();
}

}  // namespace pxkit::scale
#endif  // HWY_ONCE
