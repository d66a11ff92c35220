#include "homography.h"

#include <pxkit.h>

#include <cmath>
#include <sstream>
#include <string>

#include "cli_error.h"

namespace pxcli {

Corners parse_corners(const std::string& text) {
  Corners c;
  std::istringstream in(text);
  std::string item;
  double v[8];
  int count = 0;
  while (std::getline(in, item, ',')) {
    std::size_t used = 0;
    bool ok = count < 8 && !item.empty();
    if (ok) {
      try {
        v[count] = std::stod(item, &used);
      } catch (const std::exception&) {
        ok = false;
      }
    }
    if (!ok || used != item.size() || !std::isfinite(v[count])) {
      throw CliError("bad corners '" + text + "': expected eight numbers x0,y0,x1,y1,x2,y2,x3,y3");
    }
    ++count;
  }
  if (count != 8) throw CliError("bad corners '" + text + "': expected eight numbers x0,y0,x1,y1,x2,y2,x3,y3");
  for (int k = 0; k < 4; ++k) c[k] = {v[2 * k], v[2 * k + 1]};
  return c;
}

std::array<float, 9> homography_to_corners(const Corners& corners, Size out) {
  // A perspective image of a rectangle is a convex quadrilateral: every turn
  // from one edge to the next goes the same way.
  int left = 0, right = 0;
  for (int k = 0; k < 4; ++k) {
    const Point& a = corners[k];
    const Point& b = corners[(k + 1) % 4];
    const Point& c = corners[(k + 2) % 4];
    const double turn = (b.x - a.x) * (c.y - b.y) - (b.y - a.y) * (c.x - b.x);
    left += turn > 1e-9;
    right += turn < -1e-9;
  }
  if (left != 4 && right != 4) {
    throw CliError("the corners must form a convex quadrilateral, in order around it");
  }
  const double w = out.width, h = out.height;
  const Point from[4] = {{1, 1}, {w, 1}, {w, h}, {1, h}};
  // h8 = 1: two rows per corner, u = (h0 X + h1 Y + h2) / (h6 X + h7 Y + 1).
  float a[64] = {}, b[8] = {}, x[8] = {};
  for (int k = 0; k < 4; ++k) {
    const double X = from[k].x, Y = from[k].y, u = corners[k].x, v = corners[k].y;
    const double rows[2][8] = {{X, Y, 1, 0, 0, 0, -u * X, -u * Y}, {0, 0, 0, X, Y, 1, -v * X, -v * Y}};
    for (int r = 0; r < 2; ++r) {
      for (int col = 0; col < 8; ++col) a[(2 * k + r) * 8 + col] = static_cast<float>(rows[r][col]);
      b[2 * k + r] = static_cast<float>(r == 0 ? u : v);
    }
  }
  // Columns of very different magnitude (pixels vs pixels squared) are
  // equilibrated so that the pivot tolerance judges geometry, not units.
  double scale[8];
  for (int col = 0; col < 8; ++col) {
    double largest = 0;
    for (int r = 0; r < 8; ++r) largest = std::fmax(largest, std::fabs(a[r * 8 + col]));
    scale[col] = largest > 0 ? 1.0 / largest : 1.0;
    for (int r = 0; r < 8; ++r) a[r * 8 + col] = static_cast<float>(a[r * 8 + col] * scale[col]);
  }
  if (solve_f32(a, x, b, 8, 1) != 0) {
    throw CliError("the corners do not define a perspective map (are three of them on one line?)");
  }
  double m[9];
  for (int k = 0; k < 8; ++k) m[k] = x[k] * scale[k];
  m[8] = 1.0;
  const double centre = m[6] * (w + 1) / 2 + m[7] * (h + 1) / 2 + m[8];
  if (!(std::fabs(centre) > 1e-6)) throw CliError("the corners put the output's centre at infinity");
  std::array<float, 9> result{};
  for (int k = 0; k < 9; ++k) result[k] = static_cast<float>(m[k] / centre);
  // Every numerator and denominator at the output's corners must stay inside
  // the sampler's Q19 range (2^31 / 2^19 = 4096).
  for (const Point& p : from) {
    for (int r = 0; r < 3; ++r) {
      const double value = result[3 * r] * p.x + result[3 * r + 1] * p.y + result[3 * r + 2];
      if (!(std::fabs(value) < 4095.0)) {
        throw CliError("the corners and --size need coordinates beyond the sampler's range (4095)");
      }
    }
  }
  return result;
}

}  // namespace pxcli
