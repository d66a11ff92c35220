// All-or-nothing output: every file is written under a temporary name next to
// its final path and renamed into place only when all of them are complete, so a
// failure never leaves a half-written or partial set of outputs behind.
#pragma once

#include <string>
#include <vector>

namespace pxcli {

// The name to show the user for `path`: the final path when `path` is a staged
// temporary of a live StagedOutputs, otherwise `path` itself.
std::string output_name(const std::string& path);

class StagedOutputs {
 public:
  StagedOutputs() = default;
  StagedOutputs(const StagedOutputs&) = delete;
  StagedOutputs& operator=(const StagedOutputs&) = delete;
  ~StagedOutputs();  // removes the temporaries of an uncommitted set

  // Reserves `final_path` and returns the temporary path to write it to. The
  // temporary is created at once, so an unwritable place fails here (CliError),
  // before any work is done.
  std::string stage(const std::string& final_path);

  // Renames every temporary to its final path.
  void commit();

 private:
  struct Entry {
    std::string final_path;
    std::string temp_path;
  };
  std::vector<Entry> entries_;
  bool committed_ = false;
};

}  // namespace pxcli
