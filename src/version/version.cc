#include <cstdint>
#include <cstring>

#include "pxkit.h"

namespace {
// major, minor, patch (u16 LE), then the build date 2021-09-18: year (u16 LE), month, day.
constexpr std::uint8_t kVersionBytes[8] = {
    PXKIT_VERSION_MAJOR, PXKIT_VERSION_MINOR, PXKIT_VERSION_PATCH & 0xFF, PXKIT_VERSION_PATCH >> 8,
    0xE5, 0x07, 0x09, 0x12};
}  // namespace

extern "C" PXKIT_API std::uint8_t* get_pxkit_version(std::uint8_t* buffer) {
  if (buffer != nullptr) std::memcpy(buffer, kVersionBytes, sizeof(kVersionBytes));
  return buffer;
}
