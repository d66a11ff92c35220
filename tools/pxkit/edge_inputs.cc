#include "edge_inputs.h"

#include <png.h>
#include <tiffio.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

#include "cli_error.h"
#include "sample_files.h"

namespace pxcli {
namespace {

constexpr std::uint64_t kMaxPixels = std::uint64_t{1} << 28;

std::string head_of(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  if (!f) throw CliError("cannot read " + path + ": " + std::strerror(errno));
  char bytes[8] = {};
  f.read(bytes, sizeof bytes);
  return std::string(bytes, static_cast<std::size_t>(f.gcount()));
}

void check_size(const std::string& path, std::uint64_t width, std::uint64_t height) {
  if (width == 0 || height == 0) throw CliError(path + ": image has no pixels");
  if (width * height > kMaxPixels) throw CliError(path + ": image too large");
}

std::string tiff_error_text;
void tiff_error(const char*, const char* fmt, va_list args) {
  char text[256];
  std::vsnprintf(text, sizeof text, fmt, args);
  tiff_error_text = text;
}

DepthMap read_tiff(const std::string& path) {
  TIFFSetErrorHandler(tiff_error);
  TIFFSetWarningHandler(nullptr);
  tiff_error_text.clear();
  std::unique_ptr<TIFF, void (*)(TIFF*)> tif(TIFFOpen(path.c_str(), "r"), TIFFClose);
  if (!tif) throw CliError(path + ": " + (tiff_error_text.empty() ? "cannot open TIFF" : tiff_error_text));
  std::uint32_t width = 0, height = 0;
  std::uint16_t bits = 0, samples = 1, format = SAMPLEFORMAT_UINT, planar = PLANARCONFIG_CONTIG;
  TIFFGetField(tif.get(), TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(tif.get(), TIFFTAG_IMAGELENGTH, &height);
  TIFFGetFieldDefaulted(tif.get(), TIFFTAG_BITSPERSAMPLE, &bits);
  TIFFGetFieldDefaulted(tif.get(), TIFFTAG_SAMPLESPERPIXEL, &samples);
  TIFFGetFieldDefaulted(tif.get(), TIFFTAG_SAMPLEFORMAT, &format);
  TIFFGetFieldDefaulted(tif.get(), TIFFTAG_PLANARCONFIG, &planar);
  if (bits != 32 || samples != 1 || format != SAMPLEFORMAT_IEEEFP) {
    throw CliError(path + ": TIFF of " + std::to_string(samples) + " x " + std::to_string(bits) +
                   "-bit samples, expected one 32-bit float channel");
  }
  check_size(path, width, height);
  if (TIFFScanlineSize(tif.get()) != static_cast<tmsize_t>(width) * 4) throw CliError(path + ": unsupported TIFF layout");
  DepthMap map{{width, height}, true, {}, std::vector<float>(std::size_t{width} * height)};
  for (std::uint32_t r = 0; r < height; ++r) {
    if (TIFFReadScanline(tif.get(), map.f32.data() + std::size_t{r} * width, r, 0) < 0) {
      throw CliError(path + ": " + (tiff_error_text.empty() ? "TIFF data ends early" : tiff_error_text));
    }
  }
  return map;
}

// PFM, greyscale ("Pf"): width, height and a scale whose sign gives the byte
// order (negative: little-endian); rows are stored bottom-up.
DepthMap read_pfm(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
  std::istringstream header(bytes);
  std::string magic;
  std::uint64_t width = 0, height = 0;
  double scale = 0;
  if (!(header >> magic >> width >> height >> scale) || magic != "Pf" || scale == 0) {
    throw CliError(path + ": malformed PFM header");
  }
  check_size(path, width, height);
  const auto data = static_cast<std::size_t>(header.tellg()) + 1;  // one white-space byte
  const std::size_t count = static_cast<std::size_t>(width * height);
  if (bytes.size() < data || bytes.size() - data < count * 4) throw CliError(path + ": PFM data ends early");
  DepthMap map{{static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)}, true, {},
               std::vector<float>(count)};
  for (std::size_t r = 0; r < height; ++r) {
    for (std::size_t c = 0; c < width; ++c) {
      const auto* b = reinterpret_cast<const unsigned char*>(bytes.data()) + data + 4 * (r * width + c);
      const std::uint32_t word = scale < 0 ? b[0] | b[1] << 8 | b[2] << 16 | std::uint32_t{b[3]} << 24
                                           : std::uint32_t{b[0]} << 24 | b[1] << 16 | b[2] << 8 | b[3];
      std::memcpy(&map.f32[(height - 1 - r) * width + c], &word, 4);
    }
  }
  return map;
}

}  // namespace

DepthMap read_depth_map(const std::string& path) {
  const std::string head = head_of(path);
  const auto starts = [&](const char* magic, std::size_t n) { return head.compare(0, n, magic, n) == 0; };
  if (starts("\x89PNG", 4) || (starts("P5", 2) && head.size() > 2 && std::isspace(static_cast<unsigned char>(head[2])))) {
    SampleImage image = read_sample_image(path, nullptr);
    return {image.size, false, std::move(image.samples), {}};
  }
  if (starts("II*\0", 4) || starts("MM\0*", 4)) return read_tiff(path);
  if (starts("Pf", 2)) return read_pfm(path);
  throw CliError(path + ": not a 16-bit PNG or PGM, nor a 32-bit float TIFF or PFM depth map");
}

GreyImage read_png_as_grey8(const std::string& path) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) {
    const std::string why = image.message;
    png_image_free(&image);
    throw CliError(path + ": " + why);
  }
  image.format = PNG_FORMAT_GRAY;
  if (std::uint64_t{image.width} * image.height > kMaxPixels) {
    png_image_free(&image);
    throw CliError(path + ": image too large");
  }
  GreyImage grey{{image.width, image.height}, std::vector<std::uint8_t>(PNG_IMAGE_SIZE(image))};
  if (!png_image_finish_read(&image, nullptr, grey.pixels.data(), 0, nullptr)) {
    const std::string why = image.message;
    png_image_free(&image);
    throw CliError(path + ": " + why);
  }
  return grey;
}

}  // namespace pxcli
