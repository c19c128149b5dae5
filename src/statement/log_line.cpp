#include "statement/log_line.h"

#include "vorn/platform/logging.h"

namespace vorn {

std::string taggedLine(std::string_view message) {
  std::string line;
  line.reserve(kLogTag.size() + message.size());
  line.append(kLogTag).append(message);
  return LogScrubber::scrub(line);
}

}  // namespace vorn
