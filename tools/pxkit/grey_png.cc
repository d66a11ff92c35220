#include "grey_png.h"

#include <png.h>

#include <cstring>
#include <filesystem>

#include "cli_error.h"

namespace pxcli {

std::vector<std::uint8_t> read_png_grey8(const std::string& path, Size& size) {
  std::error_code ec;
  if (!std::filesystem::is_regular_file(path, ec)) throw CliError(path + ": no such file");
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) {
    throw CliError(path + ": not a readable PNG (" + image.message + ")");
  }
  image.format = PNG_FORMAT_GRAY;
  if (std::uint64_t{image.width} * image.height > (1u << 28)) {
    png_image_free(&image);
    throw CliError(path + ": image too large");
  }
  std::vector<std::uint8_t> grey(PNG_IMAGE_SIZE(image));
  if (!png_image_finish_read(&image, nullptr, grey.data(), 0, nullptr)) {
    const std::string why = image.message;
    png_image_free(&image);
    throw CliError(path + ": broken PNG (" + why + ")");
  }
  size = {image.width, image.height};
  return grey;
}

}  // namespace pxcli
