// The demo's data-code panel: a synthetic printed code drawn in perspective
// into a larger noisy picture, found by its known corners (perspective map
// from solve_f32) and cut out upright with datacode_bili_inter_crop_u8.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "staged_output.h"

namespace pxcli {

struct WarpPictures {
  std::vector<std::string> names;
  std::vector<std::string> temp_paths;
};

// Reserves the panel's pictures in `dir` (an unwritable folder fails first).
WarpPictures stage_warp_pictures(StagedOutputs& outputs, const std::string& dir);

// Runs the panel, prints its table rows (the demo's row printer), writes the pictures.
void run_warp_panel(const WarpPictures& pictures, double noise,
                    void (*print_row)(const char* stage, double ms, std::uint64_t pixels,
                                      const std::string& accuracy));

}  // namespace pxcli
