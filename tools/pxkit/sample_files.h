// Readers for 16-bit sensor sample images: raw little-endian dumps, binary PGM
// and greyscale PNG. Samples are returned as stored (16 bits); callers that
// want signed samples reinterpret them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "args.h"

namespace pxcli {

struct SampleImage {
  Size size;  // samples per row x rows
  std::vector<std::uint16_t> samples;
};

// PNG and PGM files are recognised by their signature and must be 16-bit
// greyscale; any other file is a raw dump of `raw_grid` little-endian samples and
// must have exactly that many bytes (`raw_grid` null: raw files are refused).
// Throws CliError naming the file for anything missing, short or malformed.
SampleImage read_sample_image(const std::string& path, const Size* raw_grid);

}  // namespace pxcli
