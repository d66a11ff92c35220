#include "image_scaler.h"

#include <unistd.h>

#include <cstdio>
#include <memory>

#include "cli_error.h"

namespace pxcli {
namespace {

// Collects what the library prints on standard output during its lifetime
// (its refusals are one line there), instead of letting it through.
class CapturedStdout {
 public:
  CapturedStdout() : file_(std::tmpfile(), std::fclose) {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    if (file_ && saved_ >= 0) dup2(fileno(file_.get()), STDOUT_FILENO);
  }
  ~CapturedStdout() { restore(); }
  CapturedStdout(const CapturedStdout&) = delete;
  CapturedStdout& operator=(const CapturedStdout&) = delete;

  // The first line printed, without its line feed or the "[error]: " prefix.
  std::string first_line() {
    restore();
    std::string text;
    if (!file_) return text;
    std::rewind(file_.get());
    for (int c; (c = std::fgetc(file_.get())) != EOF && c != '\n';) text += static_cast<char>(c);
    const std::string prefix = "[error]: ";
    if (text.compare(0, prefix.size(), prefix) == 0) text.erase(0, prefix.size());
    return text;
  }

 private:
  void restore() {
    if (saved_ < 0) return;
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    saved_ = -1;
  }
  std::unique_ptr<FILE, int (*)(FILE*)> file_;
  int saved_ = -1;
};

std::uint32_t bytes_per_sample(std::uint32_t data_type) { return data_type == PXKIT_SCALE_DATA_U16 ? 2 : 4; }

}  // namespace

ImageScaler::ImageScaler(Size from, Size to, std::uint32_t data_type) {
  const std::uint32_t b = bytes_per_sample(data_type);
  CapturedStdout printed;
  ctx_ = create_common_img_scale_ctx(from.width, from.width * b, from.height, to.width, to.width * b, to.height,
                                     PXKIT_SCALE_METHOD_BILINEAR, data_type);
  if (ctx_ == nullptr) {
    const std::string why = printed.first_line();
    throw CliError("cannot scale " + to_string(from) + " to " + to_string(to) + ": " +
                   (why.empty() ? "refused by the library" : why));
  }
}

void ImageScaler::run(const void* src, void* dst) const {
  const std::int32_t rc = common_img_scale(ctx_, src, dst);
  if (rc != 0) throw LibraryError("common_img_scale returned " + std::to_string(rc));
}

}  // namespace pxcli
