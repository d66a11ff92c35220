#include "staged_output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>

#include "cli_error.h"

namespace pxcli {
namespace {

// Temporary path -> final path of every staged file not yet committed or removed.
std::map<std::string, std::string>& staged_names() {
  static std::map<std::string, std::string> names;
  return names;
}

}  // namespace

std::string output_name(const std::string& path) {
  const auto it = staged_names().find(path);
  return it == staged_names().end() ? path : it->second;
}

StagedOutputs::~StagedOutputs() {
  for (const Entry& e : entries_) {
    staged_names().erase(e.temp_path);
    if (!committed_) std::remove(e.temp_path.c_str());
  }
}

std::string StagedOutputs::stage(const std::string& final_path) {
  for (const Entry& e : entries_) {
    if (e.final_path == final_path) throw CliError("output " + final_path + " is named twice");
  }
  const auto slash = final_path.rfind('/');
  const std::string dir = slash == std::string::npos ? "" : final_path.substr(0, slash + 1);
  const std::string base = slash == std::string::npos ? final_path : final_path.substr(slash + 1);
  struct stat st {};
  if (base.empty() || (stat(final_path.c_str(), &st) == 0 && S_ISDIR(st.st_mode))) {
    throw CliError("cannot write " + final_path + ": it is a directory");
  }
  // Hidden and unique per process and file, in the same directory so that the
  // rename stays within one file system.
  std::string temp = dir + "." + base + ".tmp-" + std::to_string(getpid()) + "-" +
                     std::to_string(entries_.size());
  const int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd < 0) throw CliError("cannot write " + final_path + ": " + std::strerror(errno));
  close(fd);
  staged_names()[temp] = final_path;
  entries_.push_back({final_path, std::move(temp)});
  return entries_.back().temp_path;
}

void StagedOutputs::commit() {
  for (const Entry& e : entries_) {
    if (std::rename(e.temp_path.c_str(), e.final_path.c_str()) != 0) {
      throw CliError("cannot write " + e.final_path + ": " + std::strerror(errno));
    }
  }
  committed_ = true;
}

}  // namespace pxcli
