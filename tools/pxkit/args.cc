#include "args.h"

#include <cerrno>
#include <cstdlib>
#include <iostream>

#include "cli_error.h"

namespace pxcli {
namespace {

// Whole-string unsigned parse: "0640" is fine, "64O" or "-1" is not.
bool parse_u32(const std::string& text, std::uint32_t& out) {
  if (text.empty() || text.size() > 9) return false;
  std::uint32_t v = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    v = v * 10 + static_cast<std::uint32_t>(c - '0');
  }
  out = v;
  return true;
}

bool parse_double(const std::string& text, double& out) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  out = std::strtod(text.c_str(), &end);
  return errno == 0 && end == text.c_str() + text.size();
}

}  // namespace

Size parse_size(const std::string& text) {
  const auto x = text.find('x');
  Size s;
  if (x == std::string::npos || !parse_u32(text.substr(0, x), s.width) ||
      !parse_u32(text.substr(x + 1), s.height) || s.width == 0 || s.height == 0) {
    throw CliError("bad size '" + text + "': expected WIDTHxHEIGHT, e.g. 640x480");
  }
  // The library takes the height as a signed 32-bit value and counts pixels in 32 bits.
  if (s.pixels() > (1u << 28)) {
    throw CliError("size " + text + " is too large: at most 268435456 (2^28) pixels, e.g. 16384x16384");
  }
  return s;
}

std::string to_string(Size size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

Range parse_range(const std::string& text) {
  const auto colon = text.find(':');
  Range r;
  if (colon == std::string::npos || !parse_double(text.substr(0, colon), r.lo) ||
      !parse_double(text.substr(colon + 1), r.hi) || !(r.lo < r.hi)) {
    throw CliError("bad range '" + text + "': expected LO:HI with LO < HI, e.g. 0:2.5");
  }
  return r;
}

bool parse_command(CLI::App& app, int argc, const char* const* argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return false;
  } catch (const CLI::ParseError& e) {
    throw CliError(std::string(e.what()) + " (see '" + app.get_name() + " --help')");
  }
  return true;
}

}  // namespace pxcli
