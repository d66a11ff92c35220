// One-line diagnostics on standard output, or to the host's message handler
// (pxkit_set_message_handler). The message texts are part of the library's
// interface: callers pass them exactly as documented.
#pragma once

#include <cstddef>

namespace pxkit::diag {

// Longest line a host's message handler receives (longer lines are cut).
inline constexpr std::size_t kMaxLine = 512;

// Prints `text` followed by a line feed (for messages without placeholders).
void line(const char* text);

// Prints a formatted message; the format carries its own trailing "\n".
[[gnu::format(printf, 1, 2)]] void format(const char* fmt, ...);

}  // namespace pxkit::diag
