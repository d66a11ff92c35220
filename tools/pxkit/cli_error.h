// Errors the tool reports as one line and exit code 2: bad arguments, missing
// or malformed input files, outputs that cannot be written.
#pragma once

#include <stdexcept>
#include <string>

namespace pxcli {

inline constexpr int kExitUsage = 2;    // bad arguments, files, outputs
inline constexpr int kExitLibrary = 1;  // the library refused a call

struct CliError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The library refused a frame or setup call (a bug in the tool, not the user's input).
struct LibraryError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace pxcli
