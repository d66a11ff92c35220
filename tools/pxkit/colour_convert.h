// The colour commands' use of the library: a packed picture converted to grey
// (and resized) by one colour conversion context.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "args.h"
#include "colour_png.h"

namespace pxcli {

// Packed layouts the library reads; the picture's bytes are arranged in the
// chosen layout before the call.
enum class Layout { kRgb, kBgr, kRgbx, kXbgr, kGrey };
// "rgb", "bgr", "rgbx", "xbgr" (throws CliError otherwise).
Layout parse_layout(const std::string& text);
const char* layout_name(Layout layout);
// The default layout of a picture: rgb, rgbx or grey by its channels.
Layout natural_layout(const Picture8& picture);

struct GreyResult {
  std::vector<std::uint8_t> grey;  // out_size, rows packed
  double ms = 0;                   // median time of one conversion call
};

// Converts `picture` (arranged as `layout`) to a grey picture of `out_size`.
// Throws CliError when the layout does not fit the picture's channels and
// LibraryError when the library refuses.
GreyResult convert_to_grey(const Picture8& picture, Layout layout, Size out_size, bool time_it);

}  // namespace pxcli
