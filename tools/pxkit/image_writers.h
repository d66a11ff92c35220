// Image file writers. Each writes one complete file at `path` (a staged
// temporary, see staged_output.h) and throws CliError if it cannot.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "args.h"

namespace pxcli {

// 8-bit sRGB colour PNG, pixels as R, G, B bytes.
void write_png_rgb8(const std::string& path, Size size, const std::vector<std::uint8_t>& rgb);
// 8-bit greyscale PNG.
void write_png_grey8(const std::string& path, Size size, const std::vector<std::uint8_t>& grey);
// 16-bit greyscale PNG holding the values unchanged (marked linear).
void write_png_grey16(const std::string& path, Size size, const std::vector<std::uint16_t>& grey);

// Lossless 32-bit float depth for other tools: single-channel IEEE float TIFF,
// or PFM (the little-endian "Pf" variant, rows stored bottom-up as the format asks).
void write_tiff_float(const std::string& path, Size size, const std::vector<float>& values);
void write_pfm(const std::string& path, Size size, const std::vector<float>& values);

}  // namespace pxcli
