#include "colour_png.h"

#include <png.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "cli_error.h"

namespace pxcli {

Picture8 read_png8(const std::string& path) {
  struct stat st {};
  if (stat(path.c_str(), &st) != 0) throw CliError("cannot read " + path + ": " + std::strerror(errno));
  if (!S_ISREG(st.st_mode)) throw CliError("cannot read " + path + ": not a regular file");
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) {
    const std::string why = image.message;
    png_image_free(&image);
    throw CliError(path + ": not a readable PNG (" + why + ")");
  }
  Picture8 pic;
  if (image.format & PNG_FORMAT_FLAG_COLORMAP) image.format &= ~PNG_FORMAT_FLAG_COLORMAP;
  const bool colour = (image.format & PNG_FORMAT_FLAG_COLOR) != 0;
  const bool alpha = (image.format & PNG_FORMAT_FLAG_ALPHA) != 0;
  image.format = colour ? (alpha ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB) : PNG_FORMAT_GRAY;
  pic.channels = colour ? (alpha ? 4 : 3) : 1;
  pic.size = {image.width, image.height};
  if (pic.size.pixels() > (1u << 28)) {
    png_image_free(&image);
    throw CliError(path + ": image too large");
  }
  pic.pixels.resize(pic.size.pixels() * static_cast<std::size_t>(pic.channels));
  if (!png_image_finish_read(&image, nullptr, pic.pixels.data(), 0, nullptr)) {
    const std::string why = image.message;
    png_image_free(&image);
    throw CliError(path + ": " + why);
  }
  return pic;
}

}  // namespace pxcli
