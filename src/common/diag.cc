#include "common/diag.h"

#include <cstdarg>
#include <cstdio>

namespace pxkit::diag {

// Messages are flushed at once so that they keep their order with the host
// application's own output and survive an abort that follows them.
void line(const char* text) {
  std::puts(text);
  std::fflush(stdout);
}

void format(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::vprintf(fmt, args);
  va_end(args);
  std::fflush(stdout);
}

}  // namespace pxkit::diag
