// Pictures that read on their own: an image with a title above it, a colour
// bar beside it (its range and units written at the ends), and rings around
// pixels that need attention. Drawn with cairo and the DejaVu Sans font.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "args.h"

namespace pxcli {

enum class BarColours { kTurbo, kGrey };

struct FigureStyle {
  std::string title;
  BarColours bar = BarColours::kTurbo;
  std::string low_label, high_label;  // written at the bottom and top of the bar, e.g. "0 m", "7.50 m"
  std::vector<std::uint32_t> marked;  // pixel indices (y * width + x) to ring
  std::uint8_t mark_r = 255, mark_g = 0, mark_b = 255;
};

struct RgbImage {
  Size size;
  std::vector<std::uint8_t> rgb;  // size.pixels() x R, G, B
};

// Where render_figure put the image and the bar (pixels from the top left).
struct FigureLayout {
  std::uint32_t image_x = 0, image_y = 0, bar_x = 0, bar_width = 0;
};

// The figure: title band, the image unscaled, the bar at the right.
RgbImage render_figure(const RgbImage& image, const FigureStyle& style, FigureLayout* layout = nullptr);

// Figures side by side in rows of `columns`, on one white page.
RgbImage tile_figures(const std::vector<RgbImage>& figures, int columns);

// The image halved in each direction (2x2 means), for overviews.
RgbImage halve(const RgbImage& image);

}  // namespace pxcli
