// pxkit yuv: scale a raw NV12 frame into a raw I420 frame of another size.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "cli_error.h"
#include "commands.h"
#include "image_writers.h"
#include "staged_output.h"
#include "yuv_frames.h"

namespace pxcli {
namespace {

struct YuvArgs {
  std::string in_path, out_path, in_size, out_size, method = "bilinear", png_prefix;
  bool banded = false;
};

std::vector<std::uint8_t> read_frame(const std::string& path, Size size) {
  std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(path.c_str(), "rb"), std::fclose);
  struct stat st {};
  if (!f || fstat(fileno(f.get()), &st) != 0) throw CliError("cannot read " + path + ": " + std::strerror(errno));
  if (!S_ISREG(st.st_mode)) throw CliError("cannot read " + path + ": not a regular file");
  const std::uint64_t expected = nv12_bytes(size);
  if (static_cast<std::uint64_t>(st.st_size) != expected) {
    throw CliError(path + ": " + std::to_string(st.st_size) + " bytes, an NV12 frame of " + to_string(size) +
                   " has " + std::to_string(expected));
  }
  std::vector<std::uint8_t> bytes(expected);
  if (std::fread(bytes.data(), 1, bytes.size(), f.get()) != bytes.size()) {
    throw CliError("cannot read " + path + ": " + (std::ferror(f.get()) ? std::strerror(errno) : "file shrank"));
  }
  return bytes;
}

void write_bytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
  std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(path.c_str(), "wb"), std::fclose);
  if (!f || std::fwrite(bytes.data(), 1, bytes.size(), f.get()) != bytes.size() || std::fflush(f.get()) != 0) {
    throw CliError("cannot write " + path + ": " + std::strerror(errno));
  }
}

}  // namespace

int run_yuv(int argc, const char* const* argv) {
  YuvArgs a;
  CLI::App app("Scales a raw NV12 frame (width x height luma bytes, then height/2 rows of width/2\n"
               "interleaved U, V pairs; halves rounded down) into a raw I420 frame (Y, U, V planes)\n"
               "of another size with libpxkit, in one pass. Bilinear scales up or down; area\n"
               "averages exactly the covered source area and only shrinks.",
               "pxkit yuv");
  app.add_option("IN", a.in_path, "raw NV12 input frame")->required();
  app.add_option("OUT", a.out_path, "raw I420 output frame")->required();
  app.add_option("--in", a.in_size, "input size WIDTHxHEIGHT, at least 2x2")->required();
  app.add_option("--size", a.out_size, "output size WIDTHxHEIGHT, at least 2x2")->required();
  app.add_option("--method", a.method, "bilinear or area")
      ->check(CLI::IsMember({"bilinear", "area"}))
      ->capture_default_str();
  app.add_flag("--banded", a.banded, "scale in 16-row bands (one library call per band)");
  app.add_option("--png", a.png_prefix,
                 "also write PREFIX_in_luma.png, PREFIX_in.png, PREFIX_out_luma.png, PREFIX_out.png");
  if (!parse_command(app, argc, argv)) return 0;

  const Size in_size = parse_size(a.in_size), out_size = parse_size(a.out_size);
  if (in_size.width < 2 || in_size.height < 2 || out_size.width < 2 || out_size.height < 2) {
    throw CliError("--in and --size must be at least 2x2 (the chroma planes are half size)");
  }
  const bool area = a.method == "area";
  if (!area && in_size.width == out_size.width && in_size.height == out_size.height) {
    throw CliError("--size equals --in: nothing to scale");
  }
  if (area && !(out_size.width < in_size.width && out_size.height < in_size.height)) {
    throw CliError("--method area needs a --size smaller than --in in both directions");
  }
  const Nv12Image in = nv12_from_raw(in_size, read_frame(a.in_path, in_size));

  StagedOutputs outputs;
  const std::string out_temp = outputs.stage(a.out_path);
  std::vector<std::string> png_temps;
  if (!a.png_prefix.empty()) {
    for (const char* name : {"_in_luma.png", "_in.png", "_out_luma.png", "_out.png"}) {
      png_temps.push_back(outputs.stage(a.png_prefix + name));
    }
  }
  double ms = 0;
  const I420Image out =
      scale_nv12(in, out_size, area ? PXKIT_SCALE_AREA : PXKIT_SCALE_BILINEAR, a.banded, &ms);
  write_bytes(out_temp, out.raw());
  if (!png_temps.empty()) {
    write_png_grey8(png_temps[0], in_size, luma_of(in));
    write_png_rgb8(png_temps[1], in_size, preview_rgb(in));
    write_png_grey8(png_temps[2], out_size, out.y);
    write_png_rgb8(png_temps[3], out_size, preview_rgb(out));
  }
  outputs.commit();
  std::printf("%s -> %s %s%s: %s (%.3f ms per frame)\n", to_string(in_size).c_str(),
              to_string(out_size).c_str(), a.method.c_str(), a.banded ? ", banded" : "",
              a.out_path.c_str(), ms);
  return 0;
}

}  // namespace pxcli
