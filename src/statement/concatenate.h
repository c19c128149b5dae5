#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

namespace vorn {

/// @return the pieces one after another, in a single allocation
inline std::string concatenate(std::initializer_list<std::string_view> pieces) {
  std::size_t size = 0;
  for (const std::string_view piece : pieces) size += piece.size();
  std::string text;
  text.reserve(size);
  for (const std::string_view piece : pieces) {
    if (!piece.empty()) text.append(piece);
  }
  return text;
}

}  // namespace vorn
