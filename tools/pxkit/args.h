// Argument helpers shared by the subcommands (CLI11 based).
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>

namespace pxcli {

struct Size {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint64_t pixels() const { return std::uint64_t{width} * height; }
};

// "640x480" -> {640, 480}; throws CliError for anything else or a zero side.
Size parse_size(const std::string& text);
std::string to_string(Size size);

// "0.5:3" -> {0.5, 3} with lo < hi; throws CliError otherwise.
struct Range {
  double lo = 0;
  double hi = 0;
};
Range parse_range(const std::string& text);

// Parses argv into `app`. Returns true when the command should run, false when
// help was printed. Parse errors become a CliError that names the command's help.
bool parse_command(CLI::App& app, int argc, const char* const* argv);

}  // namespace pxcli
