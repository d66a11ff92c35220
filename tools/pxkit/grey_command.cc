// pxkit grey: a PNG picture converted to grey (and resized by nearest
// neighbour) by the library's colour conversion.
#include <cstdio>

#include "cli_error.h"
#include "colour_convert.h"
#include "colour_png.h"
#include "commands.h"
#include "image_writers.h"
#include "staged_output.h"

namespace pxcli {

int run_grey(int argc, const char* const* argv) {
  std::string in_path, out_path, size_text, layout_text;
  CLI::App app("Converts an 8-bit PNG (RGB, RGBA or grey) to a grey PNG with libpxkit's colour\n"
               "conversion, luma = (4899 R + 9618 G + 1868 B) >> 14, resizing by nearest neighbour\n"
               "when --size differs from the input.",
               "pxkit grey");
  app.add_option("input", in_path, "input PNG")->required();
  app.add_option("output", out_path, "output grey PNG")->required();
  app.add_option("--size", size_text, "output size WIDTHxHEIGHT (default: the input's)");
  app.add_option("--layout", layout_text,
                 "packed layout handed to the library: rgb, bgr (3 bytes), rgbx, xbgr (4 bytes);\n"
                 "default rgb, or rgbx for RGBA files; the picture looks the same either way");
  if (!parse_command(app, argc, argv)) return 0;
  const Size wanted = size_text.empty() ? Size{} : parse_size(size_text);
  StagedOutputs outputs;
  const std::string temp = outputs.stage(out_path);
  const Picture8 picture = read_png8(in_path);
  const Size out_size = size_text.empty() ? picture.size : wanted;
  const Layout layout = layout_text.empty() ? natural_layout(picture) : parse_layout(layout_text);
  const GreyResult r = convert_to_grey(picture, layout, out_size, false);
  write_png_grey8(temp, out_size, r.grey);
  outputs.commit();
  std::printf("%s %s (%s) -> %s grey %s\n", in_path.c_str(), to_string(picture.size).c_str(),
              layout_name(layout), out_path.c_str(), to_string(out_size).c_str());
  return 0;
}

}  // namespace pxcli
