#include "figure.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>

#include "colour_map.h"

namespace pxcli {
namespace {

using Surface = std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t*)>;
using Context = std::unique_ptr<cairo_t, void (*)(cairo_t*)>;

Surface make_surface(Size size) {
  Surface s(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(size.width),
                                       static_cast<int>(size.height)),
            cairo_surface_destroy);
  if (cairo_surface_status(s.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc();
  return s;
}

// Copies RGB bytes into a cairo RGB24 surface at (x0, y0).
void put_rgb(cairo_surface_t* surface, const RgbImage& image, std::uint32_t x0, std::uint32_t y0) {
  cairo_surface_flush(surface);
  unsigned char* data = cairo_image_surface_get_data(surface);
  const int stride = cairo_image_surface_get_stride(surface);
  for (std::uint32_t y = 0; y < image.size.height; ++y) {
    auto* row = reinterpret_cast<std::uint32_t*>(data + static_cast<std::ptrdiff_t>(y0 + y) * stride) + x0;
    const std::uint8_t* src = image.rgb.data() + std::size_t{y} * image.size.width * 3;
    for (std::uint32_t x = 0; x < image.size.width; ++x) {
      row[x] = (std::uint32_t{src[3 * x]} << 16) | (std::uint32_t{src[3 * x + 1]} << 8) | src[3 * x + 2];
    }
  }
  cairo_surface_mark_dirty(surface);
}

RgbImage get_rgb(cairo_surface_t* surface) {
  cairo_surface_flush(surface);
  RgbImage out{{static_cast<std::uint32_t>(cairo_image_surface_get_width(surface)),
                static_cast<std::uint32_t>(cairo_image_surface_get_height(surface))},
               {}};
  out.rgb.resize(out.size.pixels() * 3);
  const unsigned char* data = cairo_image_surface_get_data(surface);
  const int stride = cairo_image_surface_get_stride(surface);
  for (std::uint32_t y = 0; y < out.size.height; ++y) {
    const auto* row = reinterpret_cast<const std::uint32_t*>(data + static_cast<std::ptrdiff_t>(y) * stride);
    for (std::uint32_t x = 0; x < out.size.width; ++x) {
      std::uint8_t* px = out.rgb.data() + (std::size_t{y} * out.size.width + x) * 3;
      px[0] = static_cast<std::uint8_t>(row[x] >> 16);
      px[1] = static_cast<std::uint8_t>(row[x] >> 8);
      px[2] = static_cast<std::uint8_t>(row[x]);
    }
  }
  return out;
}

// Text sizes follow the image so that small and large figures both read.
double font_size_for(Size image) {
  return std::clamp(static_cast<double>(std::min(image.width, image.height)) / 14.0, 9.0, 22.0);
}

void text(cairo_t* cr, double x, double y, const std::string& s, double size, bool bold = false) {
  cairo_select_font_face(cr, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                         bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(cr, size);
  cairo_move_to(cr, x, y);
  cairo_show_text(cr, s.c_str());
}

double text_width(cairo_t* cr, const std::string& s, double size) {
  cairo_select_font_face(cr, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(cr, size);
  cairo_text_extents_t e;
  cairo_text_extents(cr, s.c_str(), &e);
  return e.x_advance;
}

}  // namespace

RgbImage render_figure(const RgbImage& image, const FigureStyle& style, FigureLayout* layout) {
  const double font = font_size_for(image.size);
  const auto title_h = static_cast<std::uint32_t>(std::ceil(font * 1.8));
  const auto gap = static_cast<std::uint32_t>(std::ceil(font * 0.6));
  const auto bar_w = static_cast<std::uint32_t>(std::ceil(font * 1.2));
  // Measure the labels on a scratch surface to size the margin.
  Surface probe = make_surface({1, 1});
  Context measure(cairo_create(probe.get()), cairo_destroy);
  const double label_w = std::max(text_width(measure.get(), style.low_label, font),
                                  text_width(measure.get(), style.high_label, font));
  const double title_w = text_width(measure.get(), style.title, font) * 1.1;  // bold is wider
  const std::uint32_t content_w = image.size.width + 3 * gap + bar_w + static_cast<std::uint32_t>(std::ceil(label_w));
  const Size page{std::max(content_w, static_cast<std::uint32_t>(std::ceil(title_w))) + gap,
                  image.size.height + title_h + gap};

  Surface surface = make_surface(page);
  Context cr(cairo_create(surface.get()), cairo_destroy);
  cairo_set_source_rgb(cr.get(), 1, 1, 1);
  cairo_paint(cr.get());
  cairo_set_source_rgb(cr.get(), 0.1, 0.1, 0.1);
  text(cr.get(), gap, title_h - font * 0.5, style.title, font, true);
  put_rgb(surface.get(), image, gap, title_h);

  // The bar: high values at the top, as in a chart.
  const double bar_x = gap + image.size.width + gap, top = title_h, height = image.size.height;
  if (layout != nullptr) *layout = {gap, title_h, gap + image.size.width + gap, bar_w};
  for (std::uint32_t y = 0; y < image.size.height; ++y) {
    const double t = 1.0 - (y + 0.5) / height;
    if (style.bar == BarColours::kTurbo) {
      const Rgb c = turbo(t);
      cairo_set_source_rgb(cr.get(), c.r / 255.0, c.g / 255.0, c.b / 255.0);
    } else {
      cairo_set_source_rgb(cr.get(), t, t, t);
    }
    cairo_rectangle(cr.get(), bar_x, top + y, bar_w, 1);
    cairo_fill(cr.get());
  }
  cairo_set_source_rgb(cr.get(), 0.1, 0.1, 0.1);
  cairo_set_line_width(cr.get(), 1);
  cairo_rectangle(cr.get(), bar_x + 0.5, top + 0.5, bar_w - 1, height - 1);
  cairo_stroke(cr.get());
  text(cr.get(), bar_x + bar_w + gap / 2.0, top + font, style.high_label, font);
  text(cr.get(), bar_x + bar_w + gap / 2.0, top + height, style.low_label, font);

  // Rings around the marked pixels, large enough to see at a glance.
  const double radius = std::max(4.0, font * 0.45);
  cairo_set_source_rgb(cr.get(), style.mark_r / 255.0, style.mark_g / 255.0, style.mark_b / 255.0);
  cairo_set_line_width(cr.get(), 1.5);
  cairo_rectangle(cr.get(), gap, top, image.size.width, image.size.height);
  cairo_clip(cr.get());
  for (std::uint32_t index : style.marked) {
    const double x = gap + index % image.size.width + 0.5, y = top + index / image.size.width + 0.5;
    cairo_new_sub_path(cr.get());
    cairo_arc(cr.get(), x, y, radius, 0, 2 * 3.14159265358979);
  }
  cairo_stroke(cr.get());
  cairo_reset_clip(cr.get());
  return get_rgb(surface.get());
}

RgbImage tile_figures(const std::vector<RgbImage>& figures, int columns) {
  std::uint32_t cell_w = 0, cell_h = 0;
  for (const RgbImage& f : figures) {
    cell_w = std::max(cell_w, f.size.width);
    cell_h = std::max(cell_h, f.size.height);
  }
  const auto cols = static_cast<std::uint32_t>(columns);
  const auto rows = static_cast<std::uint32_t>((figures.size() + cols - 1) / cols);
  Surface surface = make_surface({cell_w * cols, cell_h * rows});
  Context cr(cairo_create(surface.get()), cairo_destroy);
  cairo_set_source_rgb(cr.get(), 1, 1, 1);
  cairo_paint(cr.get());
  for (std::size_t i = 0; i < figures.size(); ++i) {
    put_rgb(surface.get(), figures[i], static_cast<std::uint32_t>(i % cols) * cell_w,
            static_cast<std::uint32_t>(i / cols) * cell_h);
  }
  return get_rgb(surface.get());
}

RgbImage halve(const RgbImage& image) {
  RgbImage out{{image.size.width / 2, image.size.height / 2}, {}};
  out.rgb.resize(out.size.pixels() * 3);
  for (std::uint32_t y = 0; y < out.size.height; ++y) {
    for (std::uint32_t x = 0; x < out.size.width; ++x) {
      for (int c = 0; c < 3; ++c) {
        const auto at = [&](std::uint32_t sx, std::uint32_t sy) {
          return unsigned{image.rgb[(std::size_t{sy} * image.size.width + sx) * 3 + c]};
        };
        const unsigned sum = at(2 * x, 2 * y) + at(2 * x + 1, 2 * y) + at(2 * x, 2 * y + 1) + at(2 * x + 1, 2 * y + 1);
        out.rgb[(std::size_t{y} * out.size.width + x) * 3 + c] = static_cast<std::uint8_t>((sum + 2) / 4);
      }
    }
  }
  return out;
}

}  // namespace pxcli
