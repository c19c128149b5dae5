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

/// Appends `value` in the given format. A failure is logged and the text goes on with what was formatted,
/// which may be nothing or a number cut at 199 characters.
template <typename Number>
void appendNumber(std::string& text, const char* format, Number value, const FormatFailure& failure) {
  constexpr std::size_t kBufferSize = 200;
  char buffer[kBufferSize] = {};
  if (snprintf_s(buffer, kBufferSize, kBufferSize - 1, format, value) == -1) logFormatFailure(failure);
  text.append(buffer, strnlen(buffer, kBufferSize));
}

}  // namespace vorn
