// Helpers shared by the conversion tests.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "convert/convert_kernels.h"
#include "pxkit.h"
#include "support/test_support.h"

namespace convert_test {

using Context = std::unique_ptr<fixed_float_context, decltype(&destroy_fixed2float_context)>;

enum class Direction { kToFloat, kToFixed };

inline fixed_float_option option_for(std::uint8_t is_signed, std::uint8_t bits,
                                     std::uint8_t mantissa) {
  return fixed_float_option{is_signed, bits, mantissa};
}

template <class T>
fixed_float_option option_for(std::uint8_t mantissa) {
  return option_for(std::is_signed_v<T> ? 1 : 0, sizeof(T) * 8, mantissa);
}

// Sets up a context (its messages go to *printed, or are swallowed).
inline Context make_context(Direction direction, const fixed_float_option& option,
                            std::string* printed = nullptr) {
  fixed_float_context* ctx = nullptr;
  const std::string out = pxtest::capture_stdout([&] {
    ctx = direction == Direction::kToFloat ? setup_fixed2float_context(&option)
                                           : setup_float2fixed_context(&option);
  });
  if (printed != nullptr) *printed = out;
  return Context(ctx, &destroy_fixed2float_context);
}

// While alive, vector kernel calls moving at least `bytes` use streaming stores.
class ScopedStreamBytes {
 public:
  explicit ScopedStreamBytes(std::size_t bytes) { pxkit::convert::set_stream_bytes(bytes); }
  ~ScopedStreamBytes() { pxkit::convert::set_stream_bytes(pxkit::convert::kDefaultStreamBytes); }
  ScopedStreamBytes(const ScopedStreamBytes&) = delete;
  ScopedStreamBytes& operator=(const ScopedStreamBytes&) = delete;
};

// The six element types, for typed tests.
using FixedTypes = ::testing::Types<std::int8_t, std::int16_t, std::int32_t, std::uint8_t,
                                    std::uint16_t, std::uint32_t>;

// Scalar reference plus every vector target of this CPU.
inline std::vector<std::int64_t> all_targets() {
  std::vector<std::int64_t> targets{0};
  for (std::int64_t t : pxtest::vector_targets()) targets.push_back(t);
  return targets;
}

}  // namespace convert_test
