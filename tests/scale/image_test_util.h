// Helpers shared by the scaling, analysis and solver tests: the targets to
// compare, bitwise equality, and byte planes with padded rows and guard bytes.
#pragma once

#include <pxkit.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "support/test_support.h"

namespace imgtest {

inline constexpr std::uint8_t kGuard = 0xA5;

// The scalar reference (0) and every vector target of this CPU.
inline std::vector<std::int64_t> all_targets() {
  std::vector<std::int64_t> t{0};
  for (std::int64_t v : pxtest::vector_targets()) t.push_back(v);
  return t;
}

// Bitwise equality: NaN payloads and signed zeros count.
template <class T>
bool same(const std::vector<T>& a, const std::vector<T>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

// width x height bytes, rows `pad` bytes longer, then `tail_rows` more rows
// and one byte. Every byte outside the rows' first `width` bytes is a guard;
// a random plane has random bytes everywhere instead.
struct Plane {
  std::uint32_t width = 0, height = 0, stride = 0;
  std::vector<std::uint8_t> bytes;
  Plane() = default;
  Plane(std::uint32_t w, std::uint32_t h, std::uint32_t pad = 0, bool random = false, std::uint32_t tail_rows = 0)
      : width(w), height(h), stride(w + pad), bytes(std::size_t{w + pad} * (h + tail_rows) + 1, kGuard) {
    if (random) bytes = pxtest::random_ints<std::uint8_t>(bytes.size(), 0, 255);
  }
  std::uint8_t* data() { return bytes.data(); }
  std::uint8_t at(std::uint32_t x, std::uint32_t y) const { return bytes[std::size_t{y} * stride + x]; }
  std::uint8_t& at(std::uint32_t x, std::uint32_t y) { return bytes[std::size_t{y} * stride + x]; }
  datacode_image record() { return {width, height, stride, bytes.data()}; }
  bool guards_intact() const {
    for (std::size_t i = 0; i < bytes.size(); ++i)
      if ((i / stride >= height || i % stride >= width) && bytes[i] != kGuard) return false;
    return true;
  }
};

}  // namespace imgtest
