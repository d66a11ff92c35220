#include "demo_yuv_panel.h"

#include <cstdio>

#include "image_writers.h"
#include "yuv_frames.h"

namespace pxcli {
namespace {

constexpr Size kChart{1920, 1080};
constexpr Size kScaled{1280, 720};

void print_yuv_row(const char* stage, double ms, const char* remark) {
  std::printf("%-38s %9.3f %9.1f   %s\n", stage, ms,
              static_cast<double>(kScaled.pixels()) / (ms * 1e3), remark);
}

}  // namespace

YuvPanel stage_yuv_panel(StagedOutputs& outputs, const std::string& dir) {
  YuvPanel p;
  for (const char* name : {"yuv_chart_1920x1080.png", "yuv_bilinear_1280x720.png", "yuv_area_1280x720.png",
                           "yuv_bilinear_luma_1280x720.png"}) {
    p.names.push_back(name);
    p.temp_paths.push_back(outputs.stage(dir + "/" + name));
  }
  return p;
}

void run_yuv_panel(const YuvPanel& panel) {
  const Nv12Image chart = nv12_test_chart(kChart);
  struct Method {
    std::uint32_t code;
    const char* whole;
    const char* banded;
  };
  const Method methods[] = {{PXKIT_SCALE_BILINEAR, "yuv bilinear NV12 1080p -> I420 720p", "yuv bilinear, 16-row bands"},
                            {PXKIT_SCALE_AREA, "yuv area NV12 1080p -> I420 720p", "yuv area, 16-row bands"}};
  I420Image results[2];
  for (int m = 0; m < 2; ++m) {
    double whole_ms = 0, banded_ms = 0;
    results[m] = scale_nv12(chart, kScaled, methods[m].code, false, &whole_ms);
    const I420Image banded = scale_nv12(chart, kScaled, methods[m].code, true, &banded_ms);
    const bool same = banded.raw() == results[m].raw();
    print_yuv_row(methods[m].whole, whole_ms, "one pass: convert + scale, caller's thread");
    print_yuv_row(methods[m].banded, banded_ms,
                  same ? "bytes identical to the whole frame" : "DIFFERS from the whole frame");
  }
  write_png_rgb8(panel.temp_paths[0], kChart, preview_rgb(chart));
  write_png_rgb8(panel.temp_paths[1], kScaled, preview_rgb(results[0]));
  write_png_rgb8(panel.temp_paths[2], kScaled, preview_rgb(results[1]));
  write_png_grey8(panel.temp_paths[3], kScaled, results[0].y);
}

}  // namespace pxcli
