#pragma once

#include <string.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "vorn/platform/logging.h"
#include "vorn/platform/secure_c.h"

namespace vorn {

/// The log line for a number that could not be formatted.
struct FormatFailure {
  std::string_view message;
  SourceLocation location;
  bool isTagged = true;  ///< false: the message is written as it is, neither tagged nor scrubbed
};

void logFormatFailure(const FormatFailure& failure);

/// Room for the text of a number, the empty text at first.
struct NumberBuffer {
  NumberBuffer() noexcept { bytes[0] = '\0'; }

  char bytes[200];
};

/// Formats `value`. A failure is logged and the text goes on with what the buffer holds, which may be nothing
/// or a number cut at 199 characters.
/// @return the text, in `buffer`
template <typename Number>
std::string_view formatNumber(NumberBuffer& buffer, const char* format, Number value,
                              const FormatFailure& failure) {
  const int written = snprintf_s(buffer.bytes, sizeof buffer.bytes, sizeof buffer.bytes - 1, format, value);
  if (written >= 0) return {buffer.bytes, static_cast<std::size_t>(written)};
  logFormatFailure(failure);
  return {buffer.bytes, strnlen(buffer.bytes, sizeof buffer.bytes)};
}

template <typename Number>
void appendNumber(std::string& text, const char* format, Number value, const FormatFailure& failure) {
  NumberBuffer buffer;
  text.append(formatNumber(buffer, format, value, failure));
}

}  // namespace vorn
