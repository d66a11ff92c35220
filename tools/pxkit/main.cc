// pxkit: the library's command-line front door.
#include <pxkit.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "args.h"
#include "cli_error.h"
#include "commands.h"

namespace pxcli {
namespace {

constexpr const char* kUsage =
    "usage: pxkit COMMAND [OPTIONS]   (pxkit COMMAND --help for its options)\n"
    "commands:\n"
    "  demo      decode a synthetic ToF scene, write pictures, print speed and accuracy\n"
    "  tof       decode real ToF sample images (4 files, or 8 with --dual)\n"
    "  scale     resize a 16-bit or float image (bilinear)\n"
    "  version   print the library version\n"
    "  yuv       scale a raw NV12 frame into a raw I420 frame (bilinear or area)\n"
    "  edges     cut flying pixels on steep edges out of a depth map (Scharr s1)\n"
    "  gradient  sparse Scharr gradient magnitude of a picture on a coarse grid\n"
    "  grey      convert a PNG picture to grey, optionally resized (nearest neighbour)\n"
    "  rotate    rotate a PNG picture with the bicubic scanline sampler\n"
    "  warp      cut a region given by four corners out of a picture, upright\n";

}  // namespace

int run_version(int argc, const char* const* argv) {
  CLI::App app("Prints the version of the loaded libpxkit.", "pxkit version");
  if (!parse_command(app, argc, argv)) return 0;
  std::uint8_t v[8] = {};
  get_pxkit_version(v);
  std::printf("libpxkit %u.%u.%u (%04u-%02u-%02u)\n", v[0], v[1], v[2] | (v[3] << 8), v[4] | (v[5] << 8),
              v[6], v[7]);
  return 0;
}

}  // namespace pxcli

int main(int argc, char** argv) {
  using namespace pxcli;
  if (argc < 2) {
    std::fputs(kUsage, stderr);
    return kExitUsage;
  }
  const std::string command = argv[1];
  if (command == "--help" || command == "-h" || command == "help") {
    std::fputs(kUsage, stdout);
    return 0;
  }
  try {
    if (command == "demo") return run_demo(argc - 1, argv + 1);
    if (command == "tof") return run_tof(argc - 1, argv + 1);
    if (command == "scale") return run_scale(argc - 1, argv + 1);
    if (command == "version" || command == "--version") return run_version(argc - 1, argv + 1);
    if (command == "yuv") return run_yuv(argc - 1, argv + 1);
    if (command == "edges") return run_edges(argc - 1, argv + 1);
    if (command == "gradient") return run_gradient(argc - 1, argv + 1);
    if (command == "grey") return run_grey(argc - 1, argv + 1);
    if (command == "rotate") return run_rotate(argc - 1, argv + 1);
    if (command == "warp") return run_warp(argc - 1, argv + 1);
    std::fprintf(stderr, "pxkit: unknown command '%s' (see 'pxkit --help')\n", command.c_str());
    return kExitUsage;
  } catch (const CliError& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "pxkit %s: %s\n", command.c_str(), e.what());
    return kExitUsage;
  } catch (const LibraryError& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "pxkit %s: library call failed: %s\n", command.c_str(), e.what());
    return kExitLibrary;
  } catch (const std::bad_alloc&) {
    std::fflush(stdout);
    std::fprintf(stderr, "pxkit %s: not enough memory for this input (%s)\n", command.c_str(),
                 "try a smaller size, or raise the process's memory limit");
    return kExitUsage;
  } catch (const std::exception& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "pxkit %s: %s\n", command.c_str(), e.what());
    return kExitLibrary;
  }
}
