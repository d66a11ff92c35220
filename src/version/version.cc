#include <cstdint>
#include <cstring>

#include "pxkit.h"

namespace {
// major 1, minor 1, patch 7 (u16 LE), build date 2021 (u16 LE), month 9, day 18.
constexpr std::uint8_t kVersionBytes[8] = {0x01, 0x01, 0x07, 0x00, 0xE5, 0x07, 0x09, 0x12};
}  // namespace

extern "C" PXKIT_API std::uint8_t* get_pxkit_version(std::uint8_t* buffer) {
  if (buffer != nullptr) std::memcpy(buffer, kVersionBytes, sizeof(kVersionBytes));
  return buffer;
}
