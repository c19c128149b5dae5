#pragma once

#include <string>
#include <string_view>

namespace vorn {

/// Goes before every message of the library, with no blank between them.
inline constexpr std::string_view kLogTag = "[VORNLib]";

/// @return the tagged message, made safe to write on one log line
std::string taggedLine(std::string_view message);

}  // namespace vorn
