#include "image_writers.h"

#include <png.h>
#include <tiffio.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

#include "cli_error.h"
#include "staged_output.h"

namespace pxcli {
namespace {

// One line naming the user's file and the system's reason: errno when the
// failure came from the system (disk full, file too large), else the library's
// own text.
[[noreturn]] void fail_write(const std::string& path, int saved_errno, const std::string& library_text) {
  const std::string why = saved_errno != 0 ? std::strerror(saved_errno) : library_text;
  throw CliError("cannot write " + output_name(path) + ": " + (why.empty() ? "write failed" : why));
}

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

File open_for_writing(const std::string& path) {
  File f(std::fopen(path.c_str(), "wb"), std::fclose);
  if (!f) fail_write(path, errno, "");
  return f;
}

// Flushes and closes `f`; a failure at either step is the file's write error.
void close_written(const std::string& path, File& f, bool ok) {
  int saved = ok ? 0 : errno;
  if (std::fflush(f.get()) != 0 && saved == 0) saved = errno;
  if (std::fclose(f.release()) != 0 && saved == 0) saved = errno;
  if (!ok || saved != 0) fail_write(path, saved, "");
}

void write_png(const std::string& path, Size size, png_uint_32 format, const void* pixels) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = size.width;
  image.height = size.height;
  image.format = format;
  File f = open_for_writing(path);
  errno = 0;
  const bool ok = png_image_write_to_stdio(&image, f.get(), 0, pixels, 0, nullptr) != 0;
  const int saved = errno;
  const std::string library_text = ok ? "" : image.message;
  png_image_free(&image);
  if (!ok) {
    std::fclose(f.release());
    fail_write(path, saved, library_text);
  }
  close_written(path, f, true);
}

void check_count(const char* what, Size size, std::size_t count) {
  if (count != size.pixels()) throw std::logic_error(std::string(what) + ": pixel count mismatch");
}

// libtiff reports through global handlers; the last error is kept for the message.
thread_local std::string tiff_last_error;
void tiff_error(const char* module, const char* fmt, va_list args) {
  char text[256];
  std::vsnprintf(text, sizeof text, fmt, args);
  // The module is the (temporary) file name, which the caller's message replaces.
  (void)module;
  tiff_last_error = text;
}

}  // namespace

void write_png_rgb8(const std::string& path, Size size, const std::vector<std::uint8_t>& rgb) {
  check_count("RGB PNG", size, rgb.size() / 3);
  write_png(path, size, PNG_FORMAT_RGB, rgb.data());
}

void write_png_grey8(const std::string& path, Size size, const std::vector<std::uint8_t>& grey) {
  check_count("grey PNG", size, grey.size());
  write_png(path, size, PNG_FORMAT_GRAY, grey.data());
}

void write_png_grey16(const std::string& path, Size size, const std::vector<std::uint16_t>& grey) {
  check_count("16-bit PNG", size, grey.size());
  write_png(path, size, PNG_FORMAT_LINEAR_Y, grey.data());
}

void write_tiff_float(const std::string& path, Size size, const std::vector<float>& values) {
  check_count("TIFF", size, values.size());
  TIFFSetErrorHandler(tiff_error);
  TIFFSetWarningHandler(nullptr);
  tiff_last_error.clear();
  errno = 0;
  std::unique_ptr<TIFF, void (*)(TIFF*)> tif(TIFFOpen(path.c_str(), "w"), TIFFClose);
  bool ok = tif != nullptr;
  if (ok) {
    TIFF* t = tif.get();
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, size.width);
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, size.height);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 32);
    TIFFSetField(t, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(t, 0));
    for (std::uint32_t row = 0; ok && row < size.height; ++row) {
      // libtiff's scanline API takes a non-const buffer but does not modify it here.
      auto* line = const_cast<float*>(values.data() + std::size_t{row} * size.width);
      ok = TIFFWriteScanline(t, line, row, 0) == 1;
    }
    if (ok) ok = TIFFFlush(t) == 1;
  }
  if (!ok) {
    const int saved = errno;
    tif.reset();
    fail_write(path, saved, tiff_last_error);
  }
}

void write_pfm(const std::string& path, Size size, const std::vector<float>& values) {
  check_count("PFM", size, values.size());
  File f = open_for_writing(path);
  // A negative scale marks little-endian samples.
  bool ok = std::fprintf(f.get(), "Pf\n%u %u\n-1.0\n", size.width, size.height) > 0;
  for (std::uint32_t r = size.height; ok && r-- > 0;) {
    ok = std::fwrite(values.data() + std::size_t{r} * size.width, sizeof(float), size.width, f.get()) == size.width;
  }
  close_written(path, f, ok);
}

}  // namespace pxcli
