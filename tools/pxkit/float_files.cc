#include "float_files.h"

#include <tiffio.h>

#include <bit>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

#include "cli_error.h"

namespace pxcli {
namespace {

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

thread_local std::string tiff_read_error;
void tiff_read_fail(const char* module, const char* fmt, va_list args) {
  char text[256];
  std::vsnprintf(text, sizeof text, fmt, args);
  tiff_read_error = std::string(module ? module : "tiff") + ": " + text;
}

Size checked_size(const std::string& path, std::uint64_t width, std::uint64_t height) {
  if (width == 0 || height == 0) throw CliError(path + ": image has no pixels");
  if (width * height > (1u << 28)) throw CliError(path + ": image too large");
  return {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
}

FloatImage read_tiff(const std::string& path) {
  TIFFSetErrorHandler(tiff_read_fail);
  TIFFSetWarningHandler(nullptr);
  tiff_read_error.clear();
  std::unique_ptr<TIFF, void (*)(TIFF*)> tif(TIFFOpen(path.c_str(), "r"), TIFFClose);
  if (!tif) throw CliError("cannot read TIFF " + path + (tiff_read_error.empty() ? "" : ": " + tiff_read_error));
  std::uint32_t width = 0, height = 0;
  std::uint16_t bits = 0, format = SAMPLEFORMAT_UINT, channels = 1;
  TIFFGetField(tif.get(), TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(tif.get(), TIFFTAG_IMAGELENGTH, &height);
  TIFFGetField(tif.get(), TIFFTAG_BITSPERSAMPLE, &bits);
  TIFFGetFieldDefaulted(tif.get(), TIFFTAG_SAMPLEFORMAT, &format);
  TIFFGetFieldDefaulted(tif.get(), TIFFTAG_SAMPLESPERPIXEL, &channels);
  if (bits != 32 || format != SAMPLEFORMAT_IEEEFP || channels != 1 || TIFFIsTiled(tif.get())) {
    throw CliError(path + ": expected a single-channel 32-bit float TIFF in strips");
  }
  FloatImage image{checked_size(path, width, height), {}};
  image.values.resize(image.size.pixels());
  for (std::uint32_t r = 0; r < height; ++r) {
    if (TIFFReadScanline(tif.get(), image.values.data() + std::size_t{r} * width, r, 0) != 1) {
      throw CliError("cannot read TIFF " + path + (tiff_read_error.empty() ? "" : ": " + tiff_read_error));
    }
  }
  return image;
}

// "Pf\n<width> <height>\n<scale>\n" then rows bottom-up; a negative scale
// means little-endian samples.
FloatImage read_pfm(const std::string& path) {
  File f(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!f) throw CliError("cannot read " + path + ": " + std::strerror(errno));
  unsigned long width = 0, height = 0;
  double scale = 0;
  char magic[3] = {};
  if (std::fscanf(f.get(), "%2s %lu %lu %lf", magic, &width, &height, &scale) != 4 ||
      std::strcmp(magic, "Pf") != 0 || scale == 0 || std::fgetc(f.get()) == EOF) {
    throw CliError(path + ": malformed greyscale PFM header (expected Pf, width, height, scale)");
  }
  FloatImage image{checked_size(path, width, height), {}};
  image.values.resize(image.size.pixels());
  const bool swap = (scale < 0) != (std::endian::native == std::endian::little);
  for (std::uint32_t r = image.size.height; r-- > 0;) {
    float* row = image.values.data() + std::size_t{r} * width;
    if (std::fread(row, sizeof(float), width, f.get()) != width) throw CliError(path + ": PFM data ends early");
    if (swap) {
      for (std::size_t i = 0; i < width; ++i) row[i] = std::bit_cast<float>(__builtin_bswap32(std::bit_cast<std::uint32_t>(row[i])));
    }
  }
  return image;
}

}  // namespace

bool looks_like_float_image(const std::string& path) {
  File f(std::fopen(path.c_str(), "rb"), std::fclose);
  unsigned char head[4] = {};
  if (!f || std::fread(head, 1, 4, f.get()) != 4) return false;
  return std::memcmp(head, "II*\0", 4) == 0 || std::memcmp(head, "MM\0*", 4) == 0 ||
         (head[0] == 'P' && head[1] == 'f');
}

FloatImage read_float_image(const std::string& path) {
  File f(std::fopen(path.c_str(), "rb"), std::fclose);
  unsigned char head[2] = {};
  if (!f || std::fread(head, 1, 2, f.get()) != 2) throw CliError("cannot read " + path);
  f.reset();
  return head[0] == 'P' ? read_pfm(path) : read_tiff(path);
}

void write_pgm16(const std::string& path, Size size, const std::vector<std::uint16_t>& samples) {
  if (samples.size() != size.pixels()) throw std::logic_error("PGM: pixel count mismatch");
  File f(std::fopen(path.c_str(), "wb"), std::fclose);
  if (!f) throw CliError("cannot write " + path + ": " + std::strerror(errno));
  std::vector<unsigned char> bytes(samples.size() * 2);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    bytes[2 * i] = static_cast<unsigned char>(samples[i] >> 8);
    bytes[2 * i + 1] = static_cast<unsigned char>(samples[i] & 0xFF);
  }
  bool ok = std::fprintf(f.get(), "P5\n%u %u\n65535\n", size.width, size.height) > 0;
  ok = ok && std::fwrite(bytes.data(), 1, bytes.size(), f.get()) == bytes.size();
  ok = (std::fclose(f.release()) == 0) && ok;
  if (!ok) throw CliError("cannot write " + path + ": " + std::strerror(errno));
}

}  // namespace pxcli
