// Reads any PNG as 8-bit grey (colour is converted, alpha dropped, 16-bit
// samples reduced). Throws CliError for a missing or unreadable file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "args.h"

namespace pxcli {

std::vector<std::uint8_t> read_png_grey8(const std::string& path, Size& size);

}  // namespace pxcli
