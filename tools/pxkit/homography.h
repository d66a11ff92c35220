// The perspective map of an upright W x H output onto four corners in a
// source image, solved with the library's solve_f32 (an 8 x 8 system).
#pragma once

#include <array>
#include <cstdint>

#include "args.h"

namespace pxcli {

struct Point {
  double x = 0, y = 0;
};

// Corners in output order: top-left, top-right, bottom-right, bottom-left.
using Corners = std::array<Point, 4>;

// "x0,y0,x1,y1,x2,y2,x3,y3" -> corners; throws CliError otherwise.
Corners parse_corners(const std::string& text);

// The row-major 3 x 3 matrix for datacode_bili_inter_crop_u8 with offsets 0:
// output pixel (i, j), at X = i + 1, Y = j + 1, maps to the source point
// (h0 X + h1 Y + h2, h3 X + h4 Y + h5) / (h6 X + h7 Y + h8). The output's corner
// pixels land on the corners, and the matrix is scaled so that the last row
// gives exactly 1.0 at the output's centre (the sampler's fractions assume a
// denominator near 1.0). Throws CliError when the corners admit no such map or
// when the map leaves the sampler's fixed-point range (|value| < 4096).
std::array<float, 9> homography_to_corners(const Corners& corners, Size out);

}  // namespace pxcli
