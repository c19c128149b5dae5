#pragma once

#include <cstring>
#include <string>
#include <string_view>

namespace vorn {

/// @return the pieces one after another, in a single allocation
template <typename... Pieces>
std::string concatenate(const Pieces&... pieces) {
  std::string text((std::string_view(pieces).size() + ...), '\0');
  char* end = text.data();
  // Many clauses are empty, and a copy of nothing is still a call.
  const auto append = [&end](std::string_view piece) {
    if (piece.empty()) return;
    std::memcpy(end, piece.data(), piece.size());
    end += piece.size();
  };
  (append(std::string_view(pieces)), ...);
  return text;
}

}  // namespace vorn
