// Runs the pxkit executable in a scratch folder and collects what it did.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace clitest {

struct ToolRun {
  int exit_code = -1;
  std::string out;  // standard output
  std::string err;  // standard error
};

// A fresh folder, removed with everything in it at the end of the test.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  std::vector<std::string> files() const;  // sorted names, hidden ones included

 private:
  std::string path_;
};

// Resource limits for one run (0 = the test's own): address space, and the
// largest file the tool may write (beyond it writes fail with EFBIG).
struct ToolLimits {
  std::uint64_t address_space_bytes = 0;
  std::uint64_t file_size_bytes = 0;
};

// Runs `pxkit args...` with `dir` as working directory.
ToolRun run_tool(const std::vector<std::string>& args, const std::string& dir, const ToolLimits& limits = {});

// Runs a command that must be refused: exit code 2, one line on stderr that
// starts with "pxkit COMMAND: " and contains `why`, nothing on stdout, and the
// folder's contents unchanged (gtest expectations, traced with the arguments).
void expect_refused(const ScratchDir& dir, const std::vector<std::string>& args, const std::string& why,
                    const ToolLimits& limits = {});

// Number of lines of `text` (a last line without a newline counts).
int line_count(const std::string& text);

void write_bytes(const std::string& path, const std::vector<std::uint8_t>& bytes);
void write_raw(const std::string& path, const std::vector<std::uint16_t>& samples);  // little-endian
void write_pgm16(const std::string& path, std::uint32_t width, std::uint32_t height,
                 const std::vector<std::uint16_t>& samples);
std::vector<std::uint8_t> read_png_grey8(const std::string& path, std::uint32_t& width, std::uint32_t& height);
// A float TIFF or PFM (told by the name's extension), expected (gtest) to be width x height.
std::vector<float> read_floats(const std::string& path, std::uint32_t width, std::uint32_t height);
// Bitwise equality: tells -0 from +0 and compares NaN payloads.
bool same_bits(const std::vector<float>& a, const std::vector<float>& b);

}  // namespace clitest
