#pragma once

#include <string>
#include <vector>

namespace vorn {

/// @return the names, separated by a comma and a blank
std::string listOf(const std::vector<std::string>& names);

/// @return " (did you mean 'NAME'?)" with the one of the names that `text` may have been meant for, or nothing
///         where it is like none of them
std::string nearestName(const std::string& text, const std::vector<std::string>& names);

}  // namespace vorn
