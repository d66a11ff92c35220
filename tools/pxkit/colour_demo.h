// The demo's colour panel: a synthetic colour chart converted to grey at equal
// size and at half size, and its grey rotated by the bicubic scanline sampler.
#pragma once

#include <string>
#include <vector>

#include "args.h"
#include "staged_output.h"

namespace pxcli {

struct ColourPanel {
  std::vector<std::string> names;  // final file names, in writing order
  std::vector<std::string> temp_paths;
};

// Reserves the panel's pictures in `dir` before any work is done.
ColourPanel stage_colour_panel(StagedOutputs& outputs, const std::string& dir);

// Makes the chart, times the library calls (one table row each) and writes the pictures.
void run_colour_panel(const ColourPanel& panel, Size size);

}  // namespace pxcli
