#include "demo_samples.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "cli_error.h"
#include "image_writers.h"

namespace pxcli {
namespace {

std::string frequency_text(double hz) {
  char text[40];
  std::snprintf(text, sizeof text, "%.10g", hz);
  return text;
}

std::string joined(const std::vector<std::string>& paths, std::size_t first, std::size_t count) {
  std::string s;
  for (std::size_t i = first; i < first + count; ++i) s += " " + paths[i];
  return s;
}

}  // namespace

DemoSamples stage_demo_samples(StagedOutputs& outputs, const std::string& out_dir) {
  DemoSamples s;
  s.dir = out_dir + "/samples";
  std::error_code ec;
  std::filesystem::create_directories(s.dir, ec);
  if (ec) throw CliError("cannot create " + s.dir + ": " + ec.message());
  for (const char* frequency : {"f0", "f1"}) {
    for (const char* degrees : {"000", "090", "180", "270"}) {
      s.paths.push_back(s.dir + "/" + frequency + "_" + degrees + ".png");
      s.temp_paths.push_back(outputs.stage(s.paths.back()));
    }
  }
  return s;
}

void write_demo_samples(const DemoSamples& samples, const ToFScene& scene) {
  for (std::size_t k = 0; k < samples.temp_paths.size(); ++k) {
    write_png_grey16(samples.temp_paths[k], scene.size, scene.planes[k]);
  }
}

std::vector<std::string> demo_decode_commands(const DemoSamples& samples, const std::string& out_dir,
                                              const Modulation& mod) {
  return {
      "pxkit tof --freq " + frequency_text(mod.f0()) + " --out " + out_dir + "/tof_single" +
          joined(samples.paths, 0, 4),
      "pxkit tof --dual --m0 " + std::to_string(mod.m0) + " --m1 " + std::to_string(mod.m1) + " --freq " +
          frequency_text(mod.f1()) + " --out " + out_dir + "/tof_dual" + joined(samples.paths, 0, 8),
  };
}

}  // namespace pxcli
