// Helpers of the bilinear scaling tests: contexts made quietly on a chosen
// target, and one frame scaled into a guarded destination.
#pragma once

#include <pxkit.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "scale/common_scale_context.h"
#include "scale/image_test_util.h"

namespace scale_test {

using Context = pxtest::Owned<void, &destroy_common_img_scale_ctx>;

struct Geometry {
  std::uint32_t src_width, src_height, dst_width, dst_height;
  std::uint32_t src_pad = 0, dst_pad = 0;  // extra samples at the end of each row
};

// A context for `g` made while only `target` may be chosen (0 = scalar).
template <class T>
Context make_context(const Geometry& g, std::int64_t target) {
  pxtest::ScopedTarget only(target);
  void* made = nullptr;
  pxtest::capture_stdout([&] {
    made = create_common_img_scale_ctx(g.src_width, (g.src_width + g.src_pad) * sizeof(T), g.src_height,
                                       g.dst_width, (g.dst_width + g.dst_pad) * sizeof(T), g.dst_height,
                                       PXKIT_SCALE_METHOD_BILINEAR,
                                       sizeof(T) == 2 ? PXKIT_SCALE_DATA_U16 : PXKIT_SCALE_DATA_F32);
  });
  return Context(made);
}

// Scales `src` (rows of src_width + src_pad samples) on `target` into a
// destination that ends at an inaccessible page, twice, and returns its
// dst_width x dst_height samples. Fails the test if a padding byte after a
// row changed, the frames allocated or the second differs.
template <class T>
std::vector<T> scale(const Geometry& g, const std::vector<T>& src, std::int64_t target) {
  Context ctx = make_context<T>(g, target);
  EXPECT_NE(ctx, nullptr);
  if (ctx == nullptr) return {};
  const std::size_t row = g.dst_width + g.dst_pad;
  pxtest::PageEndBuffer in(src.size() * sizeof(T));
  std::memcpy(in.data(), src.data(), src.size() * sizeof(T));
  pxtest::PageEndBuffer out(row * g.dst_height * sizeof(T), imgtest::kGuard);
  const std::uint64_t before = pxtest::library_allocations();
  EXPECT_EQ(common_img_scale(ctx.get(), in.data(), out.data()), 0);
  // A second frame allocates nothing either and repeats the first.
  const std::vector<unsigned char> first(out.as<unsigned char>(), out.as<unsigned char>() + out.size());
  EXPECT_EQ(common_img_scale(ctx.get(), in.data(), out.data()), 0);
  EXPECT_EQ(pxtest::library_allocations(), before);
  EXPECT_TRUE(std::equal(first.begin(), first.end(), out.as<unsigned char>())) << "second frame differs";
  std::vector<T> result;
  const auto* bytes = out.as<unsigned char>();
  for (std::size_t j = 0; j < g.dst_height; ++j) {
    result.insert(result.end(), out.as<T>() + j * row, out.as<T>() + j * row + g.dst_width);
    for (std::size_t b = (j * row + g.dst_width) * sizeof(T); b < (j + 1) * row * sizeof(T); ++b)
      EXPECT_EQ(bytes[b], imgtest::kGuard) << "padding of row " << j << " written";
  }
  return result;
}

}  // namespace scale_test
