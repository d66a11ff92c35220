// One-line diagnostics on standard output. The message texts are part of the
// library's interface: callers pass them exactly as documented.
#pragma once

namespace pxkit::diag {

// Prints `text` followed by a line feed (for messages without placeholders).
void line(const char* text);

// Prints a formatted message; the format carries its own trailing "\n".
[[gnu::format(printf, 1, 2)]] void format(const char* fmt, ...);

}  // namespace pxkit::diag
