#include "sample_files.h"

#include <png.h>
#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>

#include "cli_error.h"

namespace pxcli {
namespace {

std::vector<unsigned char> read_whole_file(const std::string& path) {
  std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(path.c_str(), "rb"), std::fclose);
  struct stat st {};
  if (!f || fstat(fileno(f.get()), &st) != 0) throw CliError("cannot read " + path + ": " + std::strerror(errno));
  if (!S_ISREG(st.st_mode)) throw CliError("cannot read " + path + ": not a regular file");
  std::vector<unsigned char> bytes(static_cast<std::size_t>(st.st_size));
  if (std::fread(bytes.data(), 1, bytes.size(), f.get()) != bytes.size()) {
    throw CliError("cannot read " + path + ": " + (std::ferror(f.get()) ? std::strerror(errno) : "file shrank"));
  }
  return bytes;
}

SampleImage read_raw(const std::string& path, const std::vector<unsigned char>& bytes, Size grid) {
  const std::uint64_t expected = grid.pixels() * 2;
  if (bytes.size() != expected) {
    throw CliError(path + ": " + std::to_string(bytes.size()) + " bytes, expected " +
                   std::to_string(expected) + " (" + to_string(grid) + " 16-bit samples)");
  }
  SampleImage image{grid, std::vector<std::uint16_t>(grid.pixels())};
  for (std::size_t i = 0; i < image.samples.size(); ++i) {
    image.samples[i] = static_cast<std::uint16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
  }
  return image;
}

// Binary PGM ("P5"): header fields separated by white space, '#' comments, one
// white-space byte before the big-endian samples.
SampleImage read_pgm(const std::string& path, const std::vector<unsigned char>& bytes) {
  std::size_t pos = 2;
  auto field = [&]() -> std::uint64_t {
    for (;;) {
      while (pos < bytes.size() && std::isspace(bytes[pos])) ++pos;
      if (pos < bytes.size() && bytes[pos] == '#') {
        while (pos < bytes.size() && bytes[pos] != '\n') ++pos;
        continue;
      }
      break;
    }
    std::uint64_t v = 0;
    const std::size_t start = pos;
    while (pos < bytes.size() && std::isdigit(bytes[pos]) && pos - start < 9) v = v * 10 + (bytes[pos++] - '0');
    if (pos == start || pos >= bytes.size() || !std::isspace(bytes[pos])) {
      throw CliError(path + ": malformed PGM header");
    }
    return v;
  };
  const std::uint64_t width = field(), height = field(), maxval = field();
  ++pos;  // the single white-space byte before the data
  if (width == 0 || height == 0) throw CliError(path + ": PGM has no pixels");
  if (maxval < 256 || maxval > 65535) {
    throw CliError(path + ": PGM maxval " + std::to_string(maxval) + ", expected 16-bit samples (256..65535)");
  }
  const std::uint64_t count = width * height;
  if (bytes.size() - pos < count * 2) throw CliError(path + ": PGM data ends early");
  SampleImage image{{static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)},
                    std::vector<std::uint16_t>(count)};
  for (std::size_t i = 0; i < count; ++i) {
    image.samples[i] = static_cast<std::uint16_t>((bytes[pos + 2 * i] << 8) | bytes[pos + 2 * i + 1]);
  }
  return image;
}

// libpng reports errors by longjmp, so the decoding below keeps only plain data
// on its stack frame and reports through this record.
struct PngSource {
  const unsigned char* data;
  std::size_t size;
  std::size_t pos;
  char message[200];
};

void png_read_from_memory(png_structp png, png_bytep out, png_size_t n) {
  auto* src = static_cast<PngSource*>(png_get_io_ptr(png));
  if (n > src->size - src->pos) png_error(png, "file ends early");
  std::memcpy(out, src->data + src->pos, n);
  src->pos += n;
}

void png_fail(png_structp png, png_const_charp message) {
  auto* src = static_cast<PngSource*>(png_get_error_ptr(png));
  std::snprintf(src->message, sizeof src->message, "%s", message);
  png_longjmp(png, 1);
}

void png_ignore_warning(png_structp, png_const_charp) {}

// Reads the header (rows == nullptr) or the whole image into `rows` (one pointer
// per row, each of width 16-bit samples). Returns false with src->message set.
bool png_decode(PngSource* src, std::uint32_t* width, std::uint32_t* height, png_bytepp rows) {
  src->pos = 0;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, src, png_fail, png_ignore_warning);
  if (!png) {
    std::snprintf(src->message, sizeof src->message, "out of memory");
    return false;
  }
  png_infop info = png_create_info_struct(png);
  if (!info || setjmp(png_jmpbuf(png))) {
    png_destroy_read_struct(&png, &info, nullptr);
    if (!src->message[0]) std::snprintf(src->message, sizeof src->message, "out of memory");
    return false;
  }
  png_set_read_fn(png, src, png_read_from_memory);
  png_read_info(png, info);
  if (png_get_bit_depth(png, info) != 16 || png_get_color_type(png, info) != PNG_COLOR_TYPE_GRAY) {
    std::snprintf(src->message, sizeof src->message, "%d-bit PNG of colour type %d, expected 16-bit greyscale",
                  png_get_bit_depth(png, info), png_get_color_type(png, info));
    png_destroy_read_struct(&png, &info, nullptr);
    return false;
  }
  *width = png_get_image_width(png, info);
  *height = png_get_image_height(png, info);
  if (rows) {
    png_set_swap(png);  // PNG stores big-endian; deliver native (little-endian) samples
    png_read_image(png, rows);
    png_read_end(png, nullptr);
  }
  png_destroy_read_struct(&png, &info, nullptr);
  return true;
}

SampleImage read_png(const std::string& path, const std::vector<unsigned char>& bytes) {
  PngSource src{bytes.data(), bytes.size(), 0, {}};
  std::uint32_t width = 0, height = 0;
  if (!png_decode(&src, &width, &height, nullptr)) throw CliError(path + ": " + src.message);
  if (std::uint64_t{width} * height > (1u << 28)) throw CliError(path + ": image too large");
  SampleImage image{{width, height}, std::vector<std::uint16_t>(std::uint64_t{width} * height)};
  std::vector<png_bytep> rows(height);
  for (std::uint32_t r = 0; r < height; ++r) {
    rows[r] = reinterpret_cast<png_bytep>(image.samples.data() + std::size_t{r} * width);
  }
  if (!png_decode(&src, &width, &height, rows.data())) throw CliError(path + ": " + src.message);
  return image;
}

}  // namespace

SampleImage read_sample_image(const std::string& path, const Size* raw_grid) {
  const std::vector<unsigned char> bytes = read_whole_file(path);
  if (bytes.size() >= 8 && png_sig_cmp(bytes.data(), 0, 8) == 0) return read_png(path, bytes);
  if (bytes.size() >= 3 && bytes[0] == 'P' && bytes[1] == '5' && std::isspace(bytes[2])) {
    return read_pgm(path, bytes);
  }
  if (!raw_grid) throw CliError(path + ": raw sample file needs --size WxH");
  return read_raw(path, bytes, *raw_grid);
}

}  // namespace pxcli
