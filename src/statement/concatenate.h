#pragma once

#include <string>
#include <string_view>

namespace vorn {

/// @return the pieces one after another, in a single allocation
template <typename... Pieces>
std::string concatenate(const Pieces&... pieces) {
  std::string text;
  text.reserve((std::string_view(pieces).size() + ...));
  (text.append(std::string_view(pieces)), ...);
  return text;
}

}  // namespace vorn
