// The amplitude shift of both ToF decoders: the rule that turns the two shift
// options into a direction and an amount, its setup report line, and its
// scalar application (the vector one is ShiftAmplitude in tof_vector-inl.h).
#pragma once

#include <cstdint>

namespace pxkit {

// Direction of the shift. The order is part of the kernel table indices.
enum class AmplitudeShift : std::uint8_t { kNone, kLeft, kRight };

struct AmplitudeShiftChoice {
  AmplitudeShift direction;
  std::uint32_t amount;  // 0 with kNone
};

// A non-zero right_shift_bits (only its being non-zero counts) shifts right by
// 4 before cut_higher_amplitude_bits shifts left: net cut - 4 bits, negative = right.
constexpr AmplitudeShiftChoice choose_amplitude_shift(std::uint32_t right_shift_bits,
                                                      std::uint32_t cut_higher_amplitude_bits) {
  const std::int64_t net =
      std::int64_t{cut_higher_amplitude_bits} - (right_shift_bits != 0 ? 4 : 0);
  if (net > 0) return {AmplitudeShift::kLeft, static_cast<std::uint32_t>(net)};
  if (net < 0) return {AmplitudeShift::kRight, static_cast<std::uint32_t>(-net)};
  return {AmplitudeShift::kNone, 0};
}

// The setup report line: "\t\tleft shift N", "\t\tright shift N" or "\t\tno shift".
void report_amplitude_shift(const AmplitudeShiftChoice& shift);

// The shifted amplitude (>= 0) whose low bits are stored. A left shift drops
// the high bits; shifts of 32 or more give 0.
template <AmplitudeShift S>
constexpr std::uint32_t apply_amplitude_shift(std::int32_t amplitude, std::uint32_t amount) {
  const auto a = static_cast<std::uint32_t>(amplitude);
  if constexpr (S == AmplitudeShift::kNone) {
    return a;
  } else {
    if (amount >= 32) return 0;
    return S == AmplitudeShift::kLeft ? a << amount : a >> amount;
  }
}

}  // namespace pxkit
