// The subcommands; each takes its own argv (argv[0] = the subcommand's name)
// and returns the process exit code, throwing CliError for the user's mistakes.
#pragma once

namespace pxcli {

int run_demo(int argc, const char* const* argv);
int run_tof(int argc, const char* const* argv);
int run_scale(int argc, const char* const* argv);
int run_version(int argc, const char* const* argv);
int run_yuv(int argc, const char* const* argv);
// Scharr: edge suppression of depth maps, sparse gradient magnitude.
int run_edges(int argc, const char* const* argv);
int run_gradient(int argc, const char* const* argv);
// Colour conversion and bicubic rotation of PNG pictures.
int run_grey(int argc, const char* const* argv);
int run_rotate(int argc, const char* const* argv);
int run_warp(int argc, const char* const* argv);

}  // namespace pxcli
