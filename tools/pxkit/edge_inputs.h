// Readers for the edge and gradient commands: depth maps (16-bit PNG or PGM,
// 32-bit float TIFF or PFM) and 8-bit grey pictures (any PNG, converted).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "args.h"

namespace pxcli {

struct DepthMap {
  Size size;
  bool is_float = false;
  std::vector<std::uint16_t> u16;  // when !is_float
  std::vector<float> f32;          // when is_float
};

// Recognises the file by its signature; throws CliError naming the file for
// anything else, or for a malformed or unsupported file.
DepthMap read_depth_map(const std::string& path);

struct GreyImage {
  Size size;
  std::vector<std::uint8_t> pixels;
};

// Any PNG as 8-bit grey (colour is converted, alpha dropped).
GreyImage read_png_as_grey8(const std::string& path);

}  // namespace pxcli
