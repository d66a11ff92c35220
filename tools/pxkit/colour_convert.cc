#include "colour_convert.h"

#include <pxkit.h>

#include "cli_error.h"
#include "stage_timer.h"

namespace pxcli {
namespace {

struct Format {
  Layout layout;
  const char* name;
  int bytes;
  std::uint32_t code;
  int order[4];  // source channel of each packed byte (-1: filler)
};

constexpr Format kFormats[] = {
    {Layout::kRgb, "rgb", 3, PXKIT_FORMAT_RGB24, {0, 1, 2, -1}},
    {Layout::kBgr, "bgr", 3, PXKIT_FORMAT_BGR24, {2, 1, 0, -1}},
    {Layout::kRgbx, "rgbx", 4, PXKIT_FORMAT_RGBX, {0, 1, 2, 3}},
    {Layout::kXbgr, "xbgr", 4, PXKIT_FORMAT_XBGR, {3, 2, 1, 0}},
    {Layout::kGrey, "grey", 1, PXKIT_FORMAT_GREY, {0, -1, -1, -1}},
};

const Format& format_of(Layout layout) {
  for (const Format& f : kFormats)
    if (f.layout == layout) return f;
  return kFormats[0];
}

}  // namespace

Layout parse_layout(const std::string& text) {
  for (const Format& f : kFormats)
    if (text == f.name && f.layout != Layout::kGrey) return f.layout;
  throw CliError("bad layout '" + text + "': expected rgb, bgr, rgbx or xbgr");
}

const char* layout_name(Layout layout) { return format_of(layout).name; }

Layout natural_layout(const Picture8& picture) {
  return picture.channels == 1 ? Layout::kGrey : picture.channels == 3 ? Layout::kRgb : Layout::kRgbx;
}

GreyResult convert_to_grey(const Picture8& picture, Layout layout, Size out_size, bool time_it) {
  const Format& f = format_of(layout);
  if (picture.channels == 1 && layout != Layout::kGrey)
    throw CliError(std::string("--layout ") + f.name + " needs a colour picture; this one is grey");
  const Size in = picture.size;
  // Arrange the pixels in the chosen packed layout (an RGB file given a 4-byte
  // layout gets an opaque filler byte).
  std::vector<std::uint8_t> packed(in.pixels() * static_cast<std::size_t>(f.bytes));
  const auto ch = static_cast<std::size_t>(picture.channels);
  for (std::size_t i = 0; i < in.pixels(); ++i) {
    for (int b = 0; b < f.bytes; ++b) {
      const int c = f.order[b];
      packed[i * f.bytes + b] = c < 0 || static_cast<std::size_t>(c) >= ch ? 255 : picture.pixels[i * ch + c];
    }
  }
  GreyResult r;
  r.grey.resize(out_size.pixels());
  scale_color_conversion_ctx ctx{};
  if (setup_scale_color_conversion(&ctx, in.width, in.height, out_size.width, out_size.height,
                                   static_cast<int32_t>(f.code), PXKIT_FORMAT_GREY) != 0) {
    throw LibraryError("setup_scale_color_conversion refused the sizes");
  }
  img_planes src{}, dst{};
  src.plane[0] = packed.data();
  src.stride[0] = in.width * static_cast<std::uint32_t>(f.bytes);
  dst.plane[0] = r.grey.data();
  dst.stride[0] = out_size.width;
  int rc = 0;
  const auto run = [&] { rc = do_scale_color_conversion(&ctx, &src, &dst); };
  if (time_it) {
    r.ms = median_ms(run);
  } else {
    run();
  }
  destroy_scale_color_conversion(&ctx);
  if (rc != 0) throw LibraryError("do_scale_color_conversion returned " + std::to_string(rc));
  return r;
}

}  // namespace pxcli
