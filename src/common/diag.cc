#include "common/diag.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "pxkit.h"

namespace pxkit::diag {
namespace {

// The host's handler and its user pointer change together, under one lock; a
// message copies both before calling out, so the handler runs without the lock.
struct Sink {
  pxkit_message_fn fn = nullptr;
  void* user = nullptr;
};
std::mutex sink_lock;
Sink sink;

Sink current_sink() {
  const std::lock_guard<std::mutex> hold(sink_lock);
  return sink;
}

// Hands each line of `text` (lines end at '\n'; the last may lack it) to the
// host's handler without its line feed.
void deliver_lines(const Sink& s, const char* text) {
  char line[kMaxLine];
  while (*text != '\0') {
    const char* end = std::strchr(text, '\n');
    const std::size_t length = end != nullptr ? static_cast<std::size_t>(end - text) : std::strlen(text);
    const std::size_t kept = length < sizeof line ? length : sizeof line - 1;
    std::memcpy(line, text, kept);
    line[kept] = '\0';
    s.fn(line, s.user);
    if (end == nullptr) break;
    text = end + 1;
  }
}

}  // namespace

// Messages are flushed at once so that they keep their order with the host
// application's own output and survive an abort that follows them.
void line(const char* text) {
  const Sink s = current_sink();
  if (s.fn != nullptr) {
    deliver_lines(s, text);
    return;
  }
  std::puts(text);
  std::fflush(stdout);
}

void format(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  const Sink s = current_sink();
  if (s.fn != nullptr) {
    // Formatted on the stack: a message never allocates. Longer messages are cut.
    char text[kMaxLine];
    std::vsnprintf(text, sizeof text, fmt, args);
    deliver_lines(s, text);
  } else {
    std::vprintf(fmt, args);
    std::fflush(stdout);
  }
  va_end(args);
}

}  // namespace pxkit::diag

extern "C" PXKIT_API void pxkit_set_message_handler(pxkit_message_fn fn, void* user) {
  const std::lock_guard<std::mutex> hold(pxkit::diag::sink_lock);
  pxkit::diag::sink = {fn, fn != nullptr ? user : nullptr};
}
