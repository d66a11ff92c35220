// pxkit warp: cut a region given by four corners out of a picture, upright.
#include <pxkit.h>

#include <chrono>
#include <cstdio>

#include "cli_error.h"
#include "commands.h"
#include "grey_png.h"
#include "homography.h"
#include "image_writers.h"
#include "staged_output.h"

namespace pxcli {

int run_warp(int argc, const char* const* argv) {
  std::string in_path, out_path, corners_text, size_text;
  CLI::App app("Cuts the region with the given four corners out of a picture and writes it upright\n"
               "(8-bit grey PNG), as a code reader does with a data code seen at an angle. The\n"
               "perspective map comes from solve_f32, the sampling from datacode_bili_inter_crop_u8\n"
               "(bilinear, eighth-pixel fractions; output pixels whose source lies in the picture's\n"
               "outer border - the first column and row, the last two - are black).",
               "pxkit warp");
  app.add_option("IN", in_path, "input PNG (read as 8-bit grey)")->required();
  app.add_option("OUT", out_path, "output PNG, 8-bit grey")->required();
  app.add_option("--corners", corners_text,
                 "x0,y0,x1,y1,x2,y2,x3,y3: source pixels of the output's top-left, top-right, "
                 "bottom-right and bottom-left corners")->required();
  app.add_option("--size", size_text, "output size WIDTHxHEIGHT")->required();
  if (!parse_command(app, argc, argv)) return 0;

  const Size out = parse_size(size_text);
  const Corners corners = parse_corners(corners_text);
  Size in_size;
  std::vector<std::uint8_t> src = read_png_grey8(in_path, in_size);
  StagedOutputs outputs;
  const std::string temp = outputs.stage(out_path);

  const auto start = std::chrono::steady_clock::now();
  const std::array<float, 9> m = homography_to_corners(corners, out);
  std::vector<std::uint8_t> dst(out.pixels());
  const datacode_image s{in_size.width, in_size.height, in_size.width, src.data()};
  const datacode_image d{out.width, out.height, out.width, dst.data()};
  if (datacode_bili_inter_crop_u8(&s, &d, m.data(), 0, 0) != 0) throw LibraryError("datacode_bili_inter_crop_u8");
  const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();

  write_png_grey8(temp, out, dst);
  outputs.commit();
  std::printf("%s: %ux%u cut from %ux%u in %.3f ms\n", out_path.c_str(), out.width, out.height,
              in_size.width, in_size.height, ms);
  return 0;
}

}  // namespace pxcli
