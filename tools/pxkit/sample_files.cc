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

// An open regular file and its size, taken before anything is read.
struct OpenFile {
  std::unique_ptr<FILE, int (*)(FILE*)> file{nullptr, std::fclose};
  std::uint64_t size = 0;
};

OpenFile open_regular(const std::string& path) {
  OpenFile f;
  f.file.reset(std::fopen(path.c_str(), "rb"));
  struct stat st {};
  if (!f.file || fstat(fileno(f.file.get()), &st) != 0) {
    throw CliError("cannot read " + path + ": " + std::strerror(errno));
  }
  if (!S_ISREG(st.st_mode)) throw CliError("cannot read " + path + ": not a regular file");
  f.size = static_cast<std::uint64_t>(st.st_size);
  return f;
}

// Reads `count` bytes from the current position; the size was checked before.
std::vector<unsigned char> read_bytes(const std::string& path, FILE* file, std::uint64_t count) {
  std::vector<unsigned char> bytes(static_cast<std::size_t>(count));
  if (std::fread(bytes.data(), 1, bytes.size(), file) != bytes.size()) {
    throw CliError("cannot read " + path + ": " + (std::ferror(file) ? std::strerror(errno) : "file shrank"));
  }
  return bytes;
}

// Largest PNG or PGM file read: the largest image the tool takes (2^28 16-bit
// samples) plus room for headers and poorly compressed PNG data.
constexpr std::uint64_t kMaxImageFileBytes = (std::uint64_t{1} << 29) + (std::uint64_t{1} << 24);

// The size is checked against the grid before a byte is read, so a wrong file
// costs neither the time nor the memory of reading it.
SampleImage read_raw(const std::string& path, OpenFile& f, Size grid) {
  const std::uint64_t expected = grid.pixels() * 2;
  if (f.size != expected) {
    throw CliError(path + ": " + std::to_string(f.size) + " bytes, expected " + std::to_string(expected) +
                   " (" + to_string(grid) + " 16-bit samples)");
  }
  const std::vector<unsigned char> bytes = read_bytes(path, f.file.get(), expected);
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

// Lower-case extension of `path` ("" when it has none).
std::string extension_of(const std::string& path) {
  const auto slash = path.rfind('/');
  const auto dot = path.rfind('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  std::string ext = path.substr(dot + 1);
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return ext;
}

enum class Content { kPng, kPgm, kPlainPgm, kOther };

Content content_of(const unsigned char* head, std::size_t n) {
  if (n >= 8 && png_sig_cmp(head, 0, 8) == 0) return Content::kPng;
  if (n >= 3 && head[0] == 'P' && std::isspace(head[2])) {
    if (head[1] == '5') return Content::kPgm;
    if (head[1] == '2') return Content::kPlainPgm;
  }
  return Content::kOther;
}

constexpr const char* kFormatsRead = "16-bit greyscale PNG, binary (P5) 16-bit PGM, or raw little-endian samples";

}  // namespace

SampleImage read_sample_image(const std::string& path, const Size* raw_grid) {
  OpenFile f = open_regular(path);
  unsigned char head[8] = {};
  const std::size_t got = std::fread(head, 1, sizeof head, f.file.get());
  std::rewind(f.file.get());
  const Content content = content_of(head, got);
  const std::string ext = extension_of(path);

  // The content decides the format; an image extension must agree with it.
  if (content == Content::kPlainPgm) {
    throw CliError(path + ": plain-text (P2) PGM is not read; the tool reads " + std::string(kFormatsRead));
  }
  if ((ext == "png" && content != Content::kPng) || (ext == "pgm" && content != Content::kPgm)) {
    throw CliError(path + ": not a " + (ext == "png" ? "PNG" : "binary PGM") + " file (its contents do not " +
                   "start as one); the tool reads " + kFormatsRead);
  }
  if (content == Content::kOther && (ext == "tif" || ext == "tiff" || ext == "jpg" || ext == "jpeg" ||
                                     ext == "pfm" || ext == "ppm" || ext == "pnm" || ext == "bmp")) {
    throw CliError(path + ": ." + ext + " files are not read; the tool reads " + kFormatsRead);
  }
  if (content == Content::kPng || content == Content::kPgm) {
    if (f.size > kMaxImageFileBytes) {
      throw CliError(path + ": " + std::to_string(f.size) + " bytes, larger than any image the tool reads (" +
                     std::to_string(kMaxImageFileBytes) + " bytes)");
    }
    const std::vector<unsigned char> bytes = read_bytes(path, f.file.get(), f.size);
    return content == Content::kPng ? read_png(path, bytes) : read_pgm(path, bytes);
  }
  if (!raw_grid) {
    throw CliError(path + ": not a PNG or binary (P5) PGM; raw sample files need --size WxH (the tool reads " +
                   std::string(kFormatsRead) + ")");
  }
  return read_raw(path, f, *raw_grid);
}

}  // namespace pxcli
