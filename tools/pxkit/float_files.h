// Single-channel 32-bit float images (TIFF and PFM) for the scale command,
// and a 16-bit PGM writer to go with the sample readers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "args.h"

namespace pxcli {

struct FloatImage {
  Size size;
  std::vector<float> values;  // rows top to bottom
};

// True when the file starts like a TIFF ("II*\0" / "MM\0*") or a PFM ("Pf").
bool looks_like_float_image(const std::string& path);

// A single-channel 32-bit IEEE float TIFF (strips, uncompressed or any
// compression libtiff decodes) or a greyscale PFM ("Pf", either byte order).
// Throws CliError naming the file for anything else.
FloatImage read_float_image(const std::string& path);

// Binary 16-bit PGM ("P5", maxval 65535, big-endian samples).
void write_pgm16(const std::string& path, Size size, const std::vector<std::uint16_t>& samples);

}  // namespace pxcli
