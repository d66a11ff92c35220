// The README's code is taken from the example programs, which the suite builds
// and runs: every line of a snippet marked "<!-- from examples/NAME.c -->" must
// stand, apart from indentation, in that file.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace {

std::string trimmed(const std::string& line) {
  const auto first = line.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  return line.substr(first, line.find_last_not_of(" \t") - first + 1);
}

std::set<std::string> trimmed_lines(const std::string& path) {
  std::ifstream in(path);
  std::set<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.insert(trimmed(line));
  return lines;
}

TEST(ReadmeSnippets, ComeFromTheExamplePrograms) {
  std::ifstream readme(PXKIT_SOURCE_DIR "/README.md");
  ASSERT_TRUE(readme) << "README.md not found";
  const std::string marker = "<!-- from ";
  int snippets = 0;
  for (std::string line; std::getline(readme, line);) {
    if (line.rfind(marker, 0) != 0) continue;
    const std::string file = line.substr(marker.size(), line.find(" -->") - marker.size());
    const std::set<std::string> source = trimmed_lines(PXKIT_SOURCE_DIR "/" + file);
    ASSERT_FALSE(source.empty()) << file << " not found";
    std::getline(readme, line);
    ASSERT_EQ(line.rfind("```", 0), 0u) << "no code block after the marker for " << file;
    for (int n = 1; std::getline(readme, line) && line.rfind("```", 0) != 0; ++n) {
      EXPECT_TRUE(source.count(trimmed(line)) != 0) << file << ", snippet line " << n << ": " << line;
    }
    ++snippets;
  }
  EXPECT_GE(snippets, 3);
}

}  // namespace
