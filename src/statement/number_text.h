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

/// Room for the text of a number; zero-filled before its first use.
inline constexpr std::size_t kNumberBufferSize = 200;
using NumberBuffer = char[kNumberBufferSize];

/// Formats `value`. A failure is logged and the text goes on with what the buffer holds, which may be nothing
/// or a number cut at 199 characters.
/// @return the text, in `buffer`
template <typename Number>
std::string_view formatNumber(NumberBuffer& buffer, const char* format, Number value,
                              const FormatFailure& failure) {
  if (snprintf_s(buffer, kNumberBufferSize, kNumberBufferSize - 1, format, value) == -1)
    logFormatFailure(failure);
  return {buffer, strnlen(buffer, kNumberBufferSize)};
}

template <typename Number>
void appendNumber(std::string& text, const char* format, Number value, const FormatFailure& failure) {
  NumberBuffer buffer = {};
  text.append(formatNumber(buffer, format, value, failure));
}

}  // namespace vorn
