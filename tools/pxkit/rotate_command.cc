// pxkit rotate: a PNG picture rotated about its centre by the library's
// bicubic scanline sampler (colour pictures are made grey first).
#include <cmath>
#include <cstdio>

#include "cli_error.h"
#include "colour_convert.h"
#include "colour_png.h"
#include "colour_rotate.h"
#include "commands.h"
#include "image_writers.h"
#include "staged_output.h"

namespace pxcli {

int run_rotate(int argc, const char* const* argv) {
  std::string in_path, out_path;
  double angle = 0;
  std::int32_t a = -1;
  CLI::App app("Rotates an 8-bit PNG about its centre with libpxkit's bicubic scanline sampler\n"
               "(one call per output row) and writes a grey PNG of the same size. Colour inputs\n"
               "are converted to grey first. Corners from outside the picture are black; with\n"
               "a = -1 bright edges can overshoot 255 and wrap to dark values.",
               "pxkit rotate");
  app.add_option("input", in_path, "input PNG")->required();
  app.add_option("output", out_path, "output grey PNG")->required();
  app.add_option("--angle", angle, "rotation in degrees, counter-clockwise")->required();
  app.add_option("--a", a, "cubic convolution parameter (integer)")->capture_default_str();
  if (!parse_command(app, argc, argv)) return 0;
  if (!std::isfinite(angle)) throw CliError("--angle must be a finite number of degrees");
  if (a < -16 || a > 16) throw CliError("--a must be between -16 and 16");
  StagedOutputs outputs;
  const std::string temp = outputs.stage(out_path);
  const Picture8 picture = read_png8(in_path);
  std::vector<std::uint8_t> grey =
      picture.channels == 1 ? picture.pixels
                            : convert_to_grey(picture, natural_layout(picture), picture.size, false).grey;
  const std::vector<std::uint8_t> rotated = rotate_grey(grey, picture.size, angle, a);
  write_png_grey8(temp, picture.size, rotated);
  outputs.commit();
  std::printf("%s: %s rotated by %g degrees (a = %d)\n", out_path.c_str(), to_string(picture.size).c_str(),
              angle, a);
  return 0;
}

}  // namespace pxcli
