// pxkit gradient: the library's sparse Scharr gradient magnitude of a picture,
// one output pixel per grid point.
#include <pxkit.h>

#include <cstdio>
#include <vector>

#include "cli_error.h"
#include "commands.h"
#include "edge_inputs.h"
#include "image_writers.h"
#include "stage_timer.h"
#include "staged_output.h"

namespace pxcli {

int run_gradient(int argc, const char* const* argv) {
  std::string in, out;
  int step = 2;
  CLI::App app("Computes libpxkit's sparse Scharr gradient magnitude, min(|gx| + |gy|, 255), at every\n"
               "STEP-th column from column 0 and every STEP-th row from row 1, and writes it as a\n"
               "small 8-bit grey PNG (one pixel per grid point). IN may be any PNG; colour is\n"
               "converted to grey first.",
               "pxkit gradient");
  app.add_option("IN", in, "input picture (PNG)")->required();
  app.add_option("OUT", out, "magnitude picture (PNG)")->required();
  app.add_option("--step", step, "grid spacing in pixels")->capture_default_str()->check(CLI::Range(1, 1 << 20));
  if (!parse_command(app, argc, argv)) return 0;

  const GreyImage image = read_png_as_grey8(in);
  sparse_scharr_ctx ctx;
  if (init_sparse_scharr_ctx(&ctx, static_cast<int32_t>(image.size.width), static_cast<int32_t>(image.size.height),
                             step) != 0) {
    throw LibraryError("init_sparse_scharr_ctx");
  }
  std::uint32_t rows = 0;
  for (std::int64_t r = 1; r < ctx.row_limit; r += step) ++rows;
  const Size grid{static_cast<std::uint32_t>(ctx.sparse_width), rows};
  if (grid.pixels() == 0) {
    deinit_sparse_scharr_ctx(&ctx);
    throw CliError(in + " (" + to_string(image.size) + ") is too small for --step " + std::to_string(step) +
                   ": the grid has no points");
  }
  StagedOutputs outputs;
  const std::string temp = outputs.stage(out);
  static const std::vector<std::uint8_t> table(512 * 512, 0);  // codes are not written
  std::vector<std::uint8_t> magnitude(grid.pixels()), code(grid.pixels());
  const double ms = median_ms([&] {
    do_sparse_scharr(&ctx, table.data(), image.pixels.data(), magnitude.data(), code.data());
  }, 9, 100);
  deinit_sparse_scharr_ctx(&ctx);
  write_png_grey8(temp, grid, magnitude);
  outputs.commit();
  std::printf("%ux%u, step %d: %ux%u grid points in %.3f ms; wrote %s\n", image.size.width, image.size.height, step,
              grid.width, grid.height, ms, out.c_str());
  return 0;
}

}  // namespace pxcli
