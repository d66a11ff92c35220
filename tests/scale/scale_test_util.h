// Helpers of the bilinear scaling tests: contexts made quietly on a chosen
// target, and one frame scaled into a guarded destination.
#pragma once

#include <pxkit.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "scale/common_scale_context.h"
#include "support/test_support.h"

namespace scale_test {

using Context = pxtest::Owned<void, &destroy_common_img_scale_ctx>;

struct Geometry {
  std::uint32_t src_width, src_height, dst_width, dst_height;
  std::uint32_t src_pad = 0, dst_pad = 0;  // extra samples at the end of each row
};

template <class T>
constexpr std::uint32_t data_type() {
  return sizeof(T) == 2 ? PXKIT_SCALE_DATA_U16 : PXKIT_SCALE_DATA_F32;
}

// A context for `g` made while only `target` may be chosen (0 = scalar).
template <class T>
Context make_context(const Geometry& g, std::int64_t target, std::string* printed = nullptr) {
  pxtest::ScopedTarget only(target);
  void* made = nullptr;
  const std::string out = pxtest::capture_stdout([&] {
    made = create_common_img_scale_ctx(g.src_width, (g.src_width + g.src_pad) * sizeof(T), g.src_height,
                                       g.dst_width, (g.dst_width + g.dst_pad) * sizeof(T), g.dst_height,
                                       PXKIT_SCALE_METHOD_BILINEAR, data_type<T>());
  });
  if (printed != nullptr) *printed = out;
  return Context(made);
}

inline constexpr unsigned char kSentinel = 0xA5;

// Scales `src` (rows of src_width + src_pad samples) on `target` into a
// destination that ends at an inaccessible page, and returns its dst_width x
// dst_height samples. Fails the test if a padding byte after a row changed.
template <class T>
std::vector<T> scale(const Geometry& g, const std::vector<T>& src, std::int64_t target) {
  Context ctx = make_context<T>(g, target);
  EXPECT_NE(ctx, nullptr);
  if (ctx == nullptr) return {};
  const std::size_t row = g.dst_width + g.dst_pad;
  pxtest::PageEndBuffer in(src.size() * sizeof(T));
  std::memcpy(in.data(), src.data(), src.size() * sizeof(T));
  pxtest::PageEndBuffer out(row * g.dst_height * sizeof(T), kSentinel);
  EXPECT_EQ(common_img_scale(ctx.get(), in.data(), out.data()), 0);
  std::vector<T> result;
  const auto* bytes = out.as<unsigned char>();
  for (std::size_t j = 0; j < g.dst_height; ++j) {
    const T* r = out.as<T>() + j * row;
    result.insert(result.end(), r, r + g.dst_width);
    for (std::size_t b = (j * row + g.dst_width) * sizeof(T); b < (j + 1) * row * sizeof(T); ++b) {
      EXPECT_EQ(bytes[b], kSentinel) << "padding of row " << j << " written";
    }
  }
  return result;
}

// Scalar reference plus every vector target of this CPU.
inline std::vector<std::int64_t> all_targets() {
  std::vector<std::int64_t> targets{0};
  for (std::int64_t t : pxtest::vector_targets()) targets.push_back(t);
  return targets;
}

}  // namespace scale_test
