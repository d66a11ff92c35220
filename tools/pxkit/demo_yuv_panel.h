// The demo's YUV panel: a synthetic 1920x1080 NV12 colour chart scaled to
// 1280x720 I420 by bilinear and by area down-sampling, whole frame and in
// 16-row bands, with timing rows and PNG previews.
#pragma once

#include <string>
#include <vector>

#include "staged_output.h"

namespace pxcli {

struct YuvPanel {
  std::vector<std::string> names;  // final file names, in writing order
  std::vector<std::string> temp_paths;
};

// Reserves the panel's pictures in `dir`.
YuvPanel stage_yuv_panel(StagedOutputs& outputs, const std::string& dir);

// Scales, prints one timing row per method and driver (stage, ms/frame,
// Mpix/s of output, remark) and writes the pictures.
void run_yuv_panel(const YuvPanel& panel);

}  // namespace pxcli
