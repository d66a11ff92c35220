// The demo's synthetic sample planes, written as files `pxkit tof` reads, and
// the commands that decode them: a user's first real run without a sensor.
#pragma once

#include <string>
#include <vector>

#include "scene.h"
#include "staged_output.h"

namespace pxcli {

struct DemoSamples {
  std::string dir;                  // the samples folder, e.g. demo-out/samples
  std::vector<std::string> paths;   // final paths: frequency 0 at 0, 90, 180, 270 degrees, then frequency 1
  std::vector<std::string> temp_paths;
};

// Creates `out_dir`/samples and reserves the eight 16-bit PNG sample files.
DemoSamples stage_demo_samples(StagedOutputs& outputs, const std::string& out_dir);

// Writes the scene's eight planes to their staged paths.
void write_demo_samples(const DemoSamples& samples, const ToFScene& scene);

// The `pxkit tof` command lines (single frequency on frequency 0, then dual)
// that decode the samples into metres, with outputs next to them in `out_dir`.
std::vector<std::string> demo_decode_commands(const DemoSamples& samples, const std::string& out_dir,
                                              const Modulation& mod);

}  // namespace pxcli
