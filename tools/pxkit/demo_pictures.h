// The demo's pictures: file names carry the colour range, e.g.
// single_depth_0-2.50m.png (turbo colours from 0 m, dark blue, to 2.50 m, dark red).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "args.h"
#include "scene.h"
#include "staged_output.h"

namespace pxcli {

struct DemoFrames {
  Size size;
  std::vector<float> truth_m;
  std::vector<float> single_depth_m;      // single-frequency f32 depth, frequency 0
  std::vector<std::uint16_t> amplitude;   // single-frequency u16 amplitude
  std::vector<float> dual_depth_wraps;    // dual-frequency depth, wraps of frequency 1
};

struct DemoPictures {
  std::vector<std::string> names;  // final file names, in writing order
  std::vector<std::string> temp_paths;
};

// Reserves every picture in `dir` (so an unwritable folder fails before any work).
DemoPictures stage_demo_pictures(StagedOutputs& outputs, const std::string& dir, const Modulation& m);

// Writes the pictures to their staged paths.
void write_demo_pictures(const DemoPictures& pictures, const DemoFrames& frames, const Modulation& m);

}  // namespace pxcli
