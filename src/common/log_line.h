#pragma once

#include <string>
#include <string_view>

#include "vorn/platform/logging.h"

namespace vorn {

/// Goes before every message of the library, with no blank between them.
inline constexpr std::string_view kLogTag = "[VORNLib]";

/// @return the tagged message, made safe to write on one log line
inline std::string taggedLine(std::string_view message) {
  std::string line;
  line.reserve(kLogTag.size() + message.size());
  line.append(kLogTag).append(message);
  return LogScrubber::scrub(line);
}

}  // namespace vorn
