#include "statement/number_text.h"

#include <cstdint>

#include "common/log_line.h"

namespace vorn {

void logFormatFailure(const FormatFailure& failure) {
  constexpr auto kFormatFailureCode = static_cast<std::uint32_t>(-1);
  Logger::error(kFormatFailureCode,
                failure.isTagged ? taggedLine(failure.message) : std::string(failure.message),
                failure.location);
}

}  // namespace vorn
