#include "tool_runner.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "float_files.h"
#include "grey_png.h"

namespace clitest {

namespace fs = std::filesystem;

ScratchDir::ScratchDir() {
  std::string pattern = (fs::temp_directory_path() / "pxkit-cli-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

ScratchDir::~ScratchDir() {
  std::error_code ec;
  fs::remove_all(path_, ec);
}

std::vector<std::string> ScratchDir::files() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(path_)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

namespace {

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

}  // namespace

ToolRun run_tool(const std::vector<std::string>& args, const std::string& dir, const ToolLimits& limits) {
  // Captured output goes next to the scratch folder, not into it, so that the
  // tests can check the folder holds nothing the tool did not mean to leave.
  const std::string out_path = dir + ".stdout", err_path = dir + ".stderr";
  // In a cross build the emulator runs the tool (execvp finds it through PATH).
  std::vector<std::string> argv_store;
  std::istringstream emulator(PXKIT_TOOL_EMULATOR);
  for (std::string word; emulator >> word;) argv_store.push_back(word);
  argv_store.push_back(PXKIT_TOOL_PATH);
  argv_store.insert(argv_store.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& a : argv_store) argv.push_back(a.data());
  argv.push_back(nullptr);

  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
  if (pid == 0) {
    const int out = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (out < 0 || err < 0 || dup2(out, STDOUT_FILENO) < 0 || dup2(err, STDERR_FILENO) < 0 ||
        chdir(dir.c_str()) != 0) {
      _exit(127);
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // their run-times reserve terabytes
    if (limits.address_space_bytes != 0) {
      const struct rlimit rl = {limits.address_space_bytes, limits.address_space_bytes};
      if (setrlimit(RLIMIT_AS, &rl) != 0) _exit(127);
    }
#endif
    if (limits.file_size_bytes != 0) {
      const struct rlimit rl = {limits.file_size_bytes, limits.file_size_bytes};
      signal(SIGXFSZ, SIG_IGN);  // an over-long write then fails with EFBIG instead of killing the tool
      if (setrlimit(RLIMIT_FSIZE, &rl) != 0) _exit(127);
    }
    execvp(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) throw std::runtime_error("waitpid failed");
  }
  ToolRun run;
  run.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  run.out = slurp(out_path);
  run.err = slurp(err_path);
  std::remove(out_path.c_str());
  std::remove(err_path.c_str());
  return run;
}

void expect_refused(const ScratchDir& dir, const std::vector<std::string>& args, const std::string& why,
                    const ToolLimits& limits) {
  SCOPED_TRACE(testing::PrintToString(args));
  const std::vector<std::string> before = dir.files();
  const ToolRun run = run_tool(args, dir.path(), limits);
  EXPECT_EQ(run.exit_code, 2) << run.err;
  EXPECT_EQ(line_count(run.err), 1) << run.err;
  EXPECT_EQ(run.err.rfind("pxkit " + args[0] + ": ", 0), 0u) << run.err;
  EXPECT_NE(run.err.find(why), std::string::npos) << "expected '" << why << "' in: " << run.err;
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(dir.files(), before) << "the refused run changed the folder";
}

int line_count(const std::string& text) {
  int lines = static_cast<int>(std::count(text.begin(), text.end(), '\n'));
  if (!text.empty() && text.back() != '\n') ++lines;
  return lines;
}

void write_bytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path);
}

void write_raw(const std::string& path, const std::vector<std::uint16_t>& samples) {
  std::vector<std::uint8_t> bytes;
  for (std::uint16_t s : samples) {
    bytes.insert(bytes.end(), {static_cast<std::uint8_t>(s), static_cast<std::uint8_t>(s >> 8)});
  }
  write_bytes(path, bytes);
}

void write_pgm16(const std::string& path, std::uint32_t width, std::uint32_t height,
                 const std::vector<std::uint16_t>& samples) {
  const std::string header = "P5\n# test frame\n" + std::to_string(width) + " " + std::to_string(height) + "\n65535\n";
  std::vector<std::uint8_t> bytes(header.begin(), header.end());
  for (std::uint16_t s : samples) {
    bytes.insert(bytes.end(), {static_cast<std::uint8_t>(s >> 8), static_cast<std::uint8_t>(s)});
  }
  write_bytes(path, bytes);
}

std::vector<std::uint8_t> read_png_grey8(const std::string& path, std::uint32_t& width, std::uint32_t& height) {
  pxcli::Size size;
  std::vector<std::uint8_t> grey = pxcli::read_png_grey8(path, size);
  width = size.width;
  height = size.height;
  return grey;
}

// TIFFs through the tool's reader; PFMs through an independent one, since the
// tool's own reader would hide a row order that its writer got wrong.
std::vector<float> read_floats(const std::string& path, std::uint32_t width, std::uint32_t height) {
  std::uint32_t w = 0, h = 0;
  std::vector<float> values;
  if (path.ends_with(".pfm")) {
    std::ifstream in(path, std::ios::binary);
    std::string magic;
    double scale = 0;
    in >> magic >> w >> h >> scale;
    in.get();
    if (!in || magic != "Pf" || scale >= 0) throw std::runtime_error(path + ": not a little-endian grey PFM");
    values.resize(std::size_t{w} * h);
    for (std::uint32_t r = h; r-- > 0;) {  // stored bottom row first
      in.read(reinterpret_cast<char*>(values.data() + std::size_t{r} * w), std::streamsize{w} * 4);
    }
    if (!in) throw std::runtime_error(path + ": PFM data ends early");
  } else {
    pxcli::FloatImage image = pxcli::read_float_image(path);
    w = image.size.width;
    h = image.size.height;
    values = std::move(image.values);
  }
  EXPECT_EQ(w, width) << path;
  EXPECT_EQ(h, height) << path;
  return values;
}

bool same_bits(const std::vector<float>& a, const std::vector<float>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

}  // namespace clitest
