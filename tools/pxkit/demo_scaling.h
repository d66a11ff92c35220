// The demo's scaling panel: the dual-frequency depth as u16 millimetres,
// resized with the library's bilinear scaling to half and to twice the frame
// size, written as colour pictures over the scene's range.
#pragma once

#include <string>
#include <vector>

#include "args.h"
#include "scene.h"
#include "staged_output.h"

namespace pxcli {

struct ScalingPanel {
  Size down, up;
  std::vector<std::string> names;  // final file names: down, then up
  std::vector<std::string> temp_paths;
};

// Reserves the two pictures in `dir` for a frame of `size`.
ScalingPanel stage_scaling_pictures(StagedOutputs& outputs, const std::string& dir, Size size, const Modulation& m);

struct ScalingTiming {
  std::string stage;  // the demo table's stage column
  Size output;
  double ms;
};

// Scales the depth both ways (timed), writes the pictures, returns one row per direction.
std::vector<ScalingTiming> run_scaling_panel(const ScalingPanel& panel, Size size,
                                             const std::vector<float>& depth_wraps, const Modulation& m);

}  // namespace pxcli
