// Reader of 8-bit PNG pictures (grey, RGB or RGBA) for the colour commands.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "args.h"

namespace pxcli {

struct Picture8 {
  Size size;
  int channels = 0;                  // 1 (grey), 3 (R, G, B) or 4 (R, G, B, A)
  std::vector<std::uint8_t> pixels;  // rows packed, channels interleaved
};

// Reads a PNG file as 8-bit samples: colour files as RGB or RGBA, the others
// as grey (an alpha channel of a grey file is dropped). Throws CliError naming
// the file for anything missing, unreadable or too large.
Picture8 read_png8(const std::string& path);

}  // namespace pxcli
