// pxkit tof: decode real sensor dumps (four or eight 16-bit sample images).
#include <cmath>
#include <cstdio>
#include <cstring>

#include "cli_error.h"
#include "colour_map.h"
#include "commands.h"
#include "decoders.h"
#include "image_writers.h"
#include "sample_files.h"
#include "scene.h"
#include "staged_output.h"

namespace pxcli {
namespace {

struct TofArgs {
  std::vector<std::string> files;
  bool dual = false;
  std::string size_text;
  bool interleave = false, reverse_90_270 = false, fixed16 = false, amplitude_u8 = false,
       amplitude_align32 = false, no_amplitude = false, verbose = false;
  int right_shift_bits = 0, cut_higher_amplitude_bits = 0, mantissa_bits = 0;
  int m0 = 3, m1 = 2;
  double scale = 1.0, freq = 0, offset = 0, offset0 = 0, offset1 = 0;
  std::string out = "tof", format = "tiff", range_text;
};

struct Inputs {
  Size size;  // output pixels
  std::vector<std::vector<std::uint16_t>> planes;
};

// Reads the sample files and checks that they agree with each other and with --size.
Inputs read_inputs(const TofArgs& a) {
  const std::uint32_t per_pixel = a.interleave ? 2 : 1;
  Size grid{};
  const bool have_size = !a.size_text.empty();
  if (have_size) {
    const Size s = parse_size(a.size_text);
    grid = {s.width * per_pixel, s.height};
  }
  Inputs in;
  Size first{};
  for (std::size_t i = 0; i < a.files.size(); ++i) {
    SampleImage image = read_sample_image(a.files[i], have_size ? &grid : nullptr);
    if (have_size && (image.size.width != grid.width || image.size.height != grid.height)) {
      throw CliError(a.files[i] + ": image is " + to_string(image.size) + " samples, --size " + a.size_text +
                     (a.interleave ? " with --interleave needs " : " needs ") + to_string(grid));
    }
    if (i == 0) {
      first = image.size;
    } else if (image.size.width != first.width || image.size.height != first.height) {
      throw CliError(a.files[i] + ": image is " + to_string(image.size) + " samples, " + a.files[0] +
                     " is " + to_string(first));
    }
    in.planes.push_back(std::move(image.samples));
  }
  if (first.width % per_pixel != 0) {
    throw CliError(a.files[0] + ": --interleave needs an even number of samples per row, got " +
                   std::to_string(first.width));
  }
  in.size = {first.width / per_pixel, first.height};
  return in;
}

void check_option_combinations(const TofArgs& a) {
  const std::size_t want = a.dual ? 8 : 4;
  if (a.files.size() != want) {
    throw CliError(std::string(a.dual ? "--dual needs 8" : "single-frequency decoding needs 4") +
                   " sample files, got " + std::to_string(a.files.size()));
  }
  if (a.dual && (a.reverse_90_270 || a.fixed16 || a.amplitude_align32 || a.offset != 0)) {
    throw CliError("--reverse-90-270, --fixed16, --amplitude-align32 and --offset are single-frequency "
                   "options (dual: --offset0/--offset1)");
  }
  if (!a.dual && (a.offset0 != 0 || a.offset1 != 0)) {
    throw CliError("--offset0/--offset1 need --dual (single frequency: --offset)");
  }
  if (a.dual && (a.right_shift_bits > 15 || a.cut_higher_amplitude_bits > 15 || a.mantissa_bits > 15)) {
    throw CliError("with --dual, the shift, cut and mantissa fields are 4 bits (0..15)");
  }
}

// Every number must be finite and meaningful, and every option must apply: the
// tool refuses what the library would silently replace or ignore.
void check_numbers(const TofArgs& a, const CLI::App& app) {
  auto finite = [](const char* name, double v) {
    if (!std::isfinite(v)) throw CliError(std::string(name) + " must be a finite number");
  };
  finite("--scale", a.scale);
  finite("--offset", a.offset);
  finite("--offset0", a.offset0);
  finite("--offset1", a.offset1);
  if (a.scale == 0) throw CliError("--scale must not be 0");
  if (app.count("--freq") != 0 && !(a.freq > 0 && std::isfinite(a.freq))) {
    throw CliError("--freq must be a positive frequency in Hz, e.g. 60e6");
  }
  if (!a.dual && (app.count("--m0") != 0 || app.count("--m1") != 0)) {
    throw CliError("--m0/--m1 need --dual");
  }
  if (a.dual && (a.m0 < 1 || a.m1 < 1)) throw CliError("--m0 and --m1 must be at least 1");
  if (!a.dual && a.mantissa_bits > 15) {
    throw CliError("--mantissa-bits must be 0..15 (0 means 10); the library would use 10 for " +
                   std::to_string(a.mantissa_bits));
  }
  if (!a.dual && a.mantissa_bits != 0 && !a.fixed16) throw CliError("--mantissa-bits needs --fixed16");
}

// PREFIX_depth.tiff etc.: a prefix ending in '/' names a folder and gets the
// default base name; an empty prefix is refused.
std::string output_prefix(const std::string& out) {
  if (out.empty()) throw CliError("--out must not be empty (a file prefix such as 'scene' or a folder 'dir/')");
  return out.back() == '/' ? out + "tof" : out;
}

struct Decoded {
  std::vector<float> depth;
  std::vector<std::uint16_t> amplitude;  // u8 amplitude widened; empty with --no-amplitude
  double period = 0;                     // one unambiguous range, in output units
};

Decoded decode_single(const TofArgs& a, const Inputs& in) {
  tof_option opt{};
  opt.enable_substract_interleave = a.interleave;
  opt.right_shift_bits = static_cast<std::uint8_t>(a.right_shift_bits);
  opt.reverse_90_270 = a.reverse_90_270;
  opt.cut_higher_amplitude_bits = static_cast<std::uint8_t>(a.cut_higher_amplitude_bits);
  opt.mantissa_bits = static_cast<std::uint8_t>(a.mantissa_bits);
  opt.depth_out_use_float = !a.fixed16;
  opt.amplitude_output_32bytes_align = a.amplitude_align32;
  opt.amplitude_out_use_16bit = !a.amplitude_u8;
  const TofContext ctx = make_tof_context(opt, a.verbose);

  const Size size = in.size;
  const std::size_t n = size.pixels();
  // Padded amplitude rows: the library writes rows of `pitch` elements.
  const std::uint32_t pitch = a.amplitude_align32 && size.width % 32 ? (size.width + 31) / 32 * 32 : size.width;
  std::vector<std::uint16_t> amp16(a.no_amplitude ? 0 : std::size_t{pitch} * size.height);
  std::vector<std::uint8_t> amp8(a.no_amplitude ? 0 : std::size_t{pitch} * size.height);
  void* amplitude = a.no_amplitude ? nullptr : a.amplitude_u8 ? static_cast<void*>(amp8.data()) : amp16.data();
  std::vector<std::vector<std::int16_t>> s(4);
  for (int k = 0; k < 4; ++k) {
    // The samples' 16 bits are two's-complement values for the single-frequency decoder.
    s[k].resize(in.planes[k].size());
    std::memcpy(s[k].data(), in.planes[k].data(), in.planes[k].size() * 2);
  }
  const SinglePlanes planes{s[0].data(), s[1].data(), s[2].data(), s[3].data()};
  Decoded out{std::vector<float>(n), {}, a.scale * 6.2831855};
  const auto scale = static_cast<float>(a.scale);
  const auto offset = static_cast<float>(a.offset);
  if (a.fixed16) {
    std::vector<std::int16_t> fixed(n);
    decode_single_fixed16(ctx.get(), size, planes, fixed.data(), amplitude, scale, offset);
    const int m = a.mantissa_bits == 0 || a.mantissa_bits > 15 ? 10 : a.mantissa_bits;
    const float unit = 1.0f / static_cast<float>(1 << m);
    for (std::size_t i = 0; i < n; ++i) out.depth[i] = static_cast<float>(fixed[i]) * unit;
  } else {
    decode_single_float(ctx.get(), size, planes, out.depth.data(), amplitude, scale, offset);
  }
  if (!a.no_amplitude) {
    out.amplitude.resize(n);
    for (std::uint32_t y = 0; y < size.height; ++y) {
      for (std::uint32_t x = 0; x < size.width; ++x) {
        const std::size_t from = std::size_t{y} * pitch + x;
        out.amplitude[std::size_t{y} * size.width + x] = a.amplitude_u8 ? amp8[from] : amp16[from];
      }
    }
  }
  return out;
}

Decoded decode_dual_frame(const TofArgs& a, const Inputs& in) {
  tof_dual_option opt{};
  opt.enable_substract_interleave = a.interleave;
  opt.depth_out_use_float = 1;
  opt.amplitude_out_use_16bit = !a.amplitude_u8;
  opt.right_shift_bits = static_cast<std::uint32_t>(a.right_shift_bits) & 0xFu;  // checked <= 15
  opt.mantissa_bits = static_cast<std::uint32_t>(a.mantissa_bits) & 0xFu;  // checked <= 15
  opt.cut_higher_amplitude_bits = static_cast<std::uint32_t>(a.cut_higher_amplitude_bits) & 0xFu;  // checked <= 15
  opt.m0 = a.m0;
  opt.m1 = a.m1;
  const DualContext ctx = make_dual_context(opt, a.verbose);

  const std::size_t n = in.size.pixels();
  std::vector<std::uint16_t> amp16(a.no_amplitude ? 0 : n);
  std::vector<std::uint8_t> amp8(a.no_amplitude ? 0 : n);
  void* amplitude = a.no_amplitude ? nullptr : a.amplitude_u8 ? static_cast<void*>(amp8.data()) : amp16.data();
  std::array<const std::uint16_t*, 8> planes{};
  for (int k = 0; k < 8; ++k) planes[k] = in.planes[k].data();
  Decoded out{std::vector<float>(n), {}, a.scale * a.m1};
  decode_dual(ctx.get(), in.size, planes, out.depth.data(), amplitude, static_cast<float>(a.offset0),
              static_cast<float>(a.offset1));
  if (a.scale != 1.0) {
    const auto scale = static_cast<float>(a.scale);
    for (float& d : out.depth) d *= scale;
  }
  if (!a.no_amplitude) {
    out.amplitude.resize(n);
    for (std::size_t i = 0; i < n; ++i) out.amplitude[i] = a.amplitude_u8 ? amp8[i] : amp16[i];
  }
  return out;
}

void add_options(CLI::App& app, TofArgs& a) {
  app.add_option("FILES", a.files, "sample images: 0, 90, 180, 270 degrees (--dual: those of frequency 0, "
                                   "then of frequency 1)")->required();
  app.add_flag("--dual", a.dual, "dual-frequency decoding of 8 files");
  app.add_option("--size", a.size_text, "output size WIDTHxHEIGHT (needed for raw files; checked for PGM/PNG)");
  app.add_flag("--interleave", a.interleave, "each pixel is a pair of samples (a, b), used as a - b; "
                                             "files are twice as wide");
  app.add_flag("--reverse-90-270", a.reverse_90_270, "swap the 90 and 270 degree samples");
  app.add_option("--right-shift-bits", a.right_shift_bits, "non-zero: amplitude >> 4 before the cut")
      ->check(CLI::Range(0, 255));
  app.add_option("--cut-higher-amplitude-bits", a.cut_higher_amplitude_bits, "amplitude << this many bits")
      ->check(CLI::Range(0, 255));
  app.add_option("--mantissa-bits", a.mantissa_bits, "fraction bits of --fixed16 depth (0 = 10)")
      ->check(CLI::Range(0, 255));
  app.add_flag("--fixed16", a.fixed16, "decode to 16-bit fixed-point depth (written converted to float)");
  app.add_flag("--amplitude-u8", a.amplitude_u8, "8-bit amplitude (default 16-bit)");
  app.add_flag("--amplitude-align32", a.amplitude_align32, "let the library pad amplitude rows to 32 elements");
  app.add_option("--m0", a.m0, "--dual: wraps of frequency 0 over the range")->capture_default_str()
      ->check(CLI::Range(0, 1000));
  app.add_option("--m1", a.m1, "--dual: wraps of frequency 1 over the range")->capture_default_str()
      ->check(CLI::Range(0, 1000));
  CLI::Option* scale = app.add_option("--scale", a.scale, "depth units per radian (--dual: per wrap of frequency 1); "
                                     "default 1 = radians (wraps)")->capture_default_str();
  app.add_option("--freq", a.freq, "modulation frequency in Hz (--dual: frequency 1); sets --scale for metres");
  app.add_option("--offset", a.offset, "added to the depth after scaling, folded into one period");
  app.add_option("--offset0", a.offset0, "--dual: phase offset of frequency 0, in wraps");
  app.add_option("--offset1", a.offset1, "--dual: phase offset of frequency 1, in wraps");
  app.add_option("--out", a.out, "output prefix: PREFIX_depth.tiff|.pfm, PREFIX_depth.png, "
                                 "PREFIX_amplitude.png")->capture_default_str();
  app.add_option("--format", a.format, "lossless depth file format")->capture_default_str()
      ->check(CLI::IsMember({"tiff", "pfm"}));
  app.add_option("--range", a.range_text, "LO:HI depth range of the colour picture (default: 0 to one "
                                          "unambiguous range)");
  app.add_flag("--no-amplitude", a.no_amplitude, "compute and write no amplitude");
  app.add_flag("--verbose", a.verbose, "show the library's setup report");
  app.get_option("--freq")->excludes(scale);
}

}  // namespace

int run_tof(int argc, const char* const* argv) {
  TofArgs a;
  CLI::App app("Decodes ToF sample images with libpxkit. Inputs are raw little-endian 16-bit files\n"
               "(give --size) or 16-bit greyscale PGM/PNG images. Writes the depth as 32-bit float\n"
               "TIFF or PFM, a colour picture of it, and the amplitude as a PNG (16-bit, or 8-bit\n"
               "with --amplitude-u8).",
               "pxkit tof");
  add_options(app, a);
  if (!parse_command(app, argc, argv)) return 0;
  check_option_combinations(a);
  check_numbers(a, app);
  a.out = output_prefix(a.out);
  if (a.freq > 0) a.scale = kSpeedOfLight / (a.dual ? 2 * a.freq : 4 * kPi * a.freq);
  const bool auto_range = a.range_text.empty();
  const Range range_arg = auto_range ? Range{} : parse_range(a.range_text);
  const Inputs in = read_inputs(a);

  StagedOutputs outputs;
  const std::string depth_path = a.out + "_depth." + (a.format == "pfm" ? "pfm" : "tiff");
  const std::string picture_path = a.out + "_depth.png";
  const std::string amplitude_path = a.out + "_amplitude.png";
  const std::string depth_temp = outputs.stage(depth_path);
  const std::string picture_temp = outputs.stage(picture_path);
  const std::string amplitude_temp = a.no_amplitude ? "" : outputs.stage(amplitude_path);

  const Decoded d = a.dual ? decode_dual_frame(a, in) : decode_single(a, in);
  const Range range = auto_range ? Range{0, d.period} : range_arg;
  if (a.format == "pfm") {
    write_pfm(depth_temp, in.size, d.depth);
  } else {
    write_tiff_float(depth_temp, in.size, d.depth);
  }
  write_png_rgb8(picture_temp, in.size, colourise(d.depth, range.lo, range.hi));
  if (!a.no_amplitude) {
    if (a.amplitude_u8) {
      write_png_grey8(amplitude_temp, in.size, std::vector<std::uint8_t>(d.amplitude.begin(), d.amplitude.end()));
    } else {
      write_png_grey16(amplitude_temp, in.size, d.amplitude);
    }
  }
  outputs.commit();
  std::printf("%ux%u %s: %s (f32 depth), %s (colours %g to %g)%s%s\n", in.size.width, in.size.height,
              a.dual ? "dual-frequency" : "single-frequency", depth_path.c_str(), picture_path.c_str(),
              range.lo, range.hi, a.no_amplitude ? "" : ", ", a.no_amplitude ? "" : amplitude_path.c_str());
  return 0;
}

}  // namespace pxcli
