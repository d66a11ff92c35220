#include "support/test_support.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace pxtest {

std::string capture_stdout(const std::function<void()>& body) {
  std::fflush(stdout);
  testing::internal::CaptureStdout();
  body();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

PageEndBuffer::PageEndBuffer(std::size_t bytes, unsigned char fill_byte) : bytes_(bytes) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t data_pages = (bytes + page - 1) / page;
  mapping_bytes_ = (data_pages + 1) * page;
  mapping_ = mmap(nullptr, mapping_bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping_ == MAP_FAILED) throw std::runtime_error("mmap failed");
  char* guard = static_cast<char*>(mapping_) + data_pages * page;
  if (mprotect(guard, page, PROT_NONE) != 0) throw std::runtime_error("mprotect failed");
  data_ = guard - bytes;
  std::memset(data_, fill_byte, bytes);
}

PageEndBuffer::~PageEndBuffer() { munmap(mapping_, mapping_bytes_); }

}  // namespace pxtest
