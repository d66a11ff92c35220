// pxkit scale: bilinear resizing of one 16-bit or float image file.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "cli_error.h"
#include "commands.h"
#include "float_files.h"
#include "image_scaler.h"
#include "image_writers.h"
#include "sample_files.h"
#include "stage_timer.h"
#include "staged_output.h"

namespace pxcli {
namespace {

std::string lower_extension(const std::string& path) {
  const auto dot = path.find_last_of('.');
  const auto slash = path.find_last_of('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  std::string ext = path.substr(dot + 1);
  for (char& c : ext) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  return ext;
}

// The output format for `out`, checked against the input's sample type.
std::string output_format(const std::string& out, bool is_float) {
  const std::string ext = lower_extension(out);
  if (is_float && (ext == "tiff" || ext == "tif" || ext == "pfm")) return ext == "pfm" ? "pfm" : "tiff";
  if (!is_float && (ext == "png" || ext == "pgm")) return ext;
  throw CliError(out + ": a " + (is_float ? "float image is written as .tiff, .tif or .pfm"
                                          : "16-bit image is written as .png or .pgm"));
}

// PNG and binary PGM signatures (raw dumps carry no size, so they are not taken).
bool looks_like_sample_image(const std::string& path) {
  std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(path.c_str(), "rb"), std::fclose);
  unsigned char head[4] = {};
  if (!f || std::fread(head, 1, 4, f.get()) != 4) return false;
  return std::memcmp(head, "\x89PNG", 4) == 0 || (head[0] == 'P' && head[1] == '5');
}

}  // namespace

int run_scale(int argc, const char* const* argv) {
  std::string in_path, out_path, size_text;
  CLI::App app("Resizes one image with libpxkit's bilinear scaling (11-bit fixed-point weights,\n"
               "destination pixel i taken from source position i x src / dst). IN is a 16-bit\n"
               "greyscale PNG or PGM, or a single-channel 32-bit float TIFF or PFM; OUT is written\n"
               "in the same sample type (.png/.pgm, or .tiff/.tif/.pfm). Float samples are\n"
               "interpolated in integers: interpolated pixels lose fractions and negative values.",
               "pxkit scale");
  app.add_option("IN", in_path, "input image")->required();
  app.add_option("OUT", out_path, "output image")->required();
  app.add_option("--size", size_text, "output size WIDTHxHEIGHT (must differ from the input's)")->required();
  if (!parse_command(app, argc, argv)) return 0;
  const Size to = parse_size(size_text);

  const bool is_float = looks_like_float_image(in_path);
  if (!is_float && !looks_like_sample_image(in_path)) {
    // The readers name a missing or unreadable file themselves.
    std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(in_path.c_str(), "rb"), std::fclose);
    if (f) throw CliError(in_path + ": not a 16-bit PNG/PGM or float TIFF/PFM image");
  }
  const std::string format = output_format(out_path, is_float);
  StagedOutputs outputs;
  const std::string temp = outputs.stage(out_path);
  Size from{};
  double ms = 0;
  if (is_float) {
    const FloatImage image = read_float_image(in_path);
    from = image.size;
    const ImageScaler scaler(from, to, PXKIT_SCALE_DATA_F32);
    std::vector<float> out(to.pixels());
    ms = median_ms([&] { scaler.run(image.values.data(), out.data()); }, 5, 100);
    if (format == "pfm") {
      write_pfm(temp, to, out);
    } else {
      write_tiff_float(temp, to, out);
    }
  } else {
    const SampleImage image = read_sample_image(in_path, nullptr);
    from = image.size;
    const ImageScaler scaler(from, to, PXKIT_SCALE_DATA_U16);
    std::vector<std::uint16_t> out(to.pixels());
    ms = median_ms([&] { scaler.run(image.samples.data(), out.data()); }, 5, 100);
    if (format == "pgm") {
      write_pgm16(temp, to, out);
    } else {
      write_png_grey16(temp, to, out);
    }
  }
  outputs.commit();
  std::printf("%s: %s %s -> %s (%s, %.3f ms)\n", out_path.c_str(), is_float ? "f32" : "u16",
              to_string(from).c_str(), to_string(to).c_str(), format.c_str(), ms);
  return 0;
}

}  // namespace pxcli
