#pragma once

#include <string>
#include <string_view>

namespace vorn {

/// Appends the text of every element of a range, with a separator between them.
/// @param append  appends the text of one element to the target
template <typename Range, typename Append>
void appendJoined(std::string& target, const Range& range, std::string_view separator, const Append& append) {
  bool first = true;
  for (const auto& element : range) {
    if (!first) target += separator;
    first = false;
    append(target, element);
  }
}

}  // namespace vorn
