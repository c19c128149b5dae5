#pragma once

#include <cstring>
#include <string>
#include <string_view>

namespace vorn {

/// Writes the pieces one after another from `at` on. Inlined, so that pieces of a known size are written without a call.
template <typename... Pieces>
[[gnu::always_inline]] inline void writePieces(char* at, const Pieces&... pieces) {
  // Many clauses are empty, and a copy of nothing is still a call.
  const auto write = [&at](std::string_view piece) __attribute__((always_inline)) {
    if (piece.empty()) return;
    std::memcpy(at, piece.data(), piece.size());
    at += piece.size();
  };
  (write(std::string_view(pieces)), ...);
}

/// @return the pieces one after another, in a single allocation
template <typename... Pieces>
[[gnu::always_inline]] inline std::string concatenate(const Pieces&... pieces) {
  std::string text((std::string_view(pieces).size() + ...), '\0');
  writePieces(text.data(), pieces...);
  return text;
}

/// @return how much room to give a text of this size that is expected to grow; a short one takes no allocation yet
inline std::size_t roomyCapacity(std::size_t size) {
  return size > std::string().capacity() ? 2 * size + 32 : size;
}

/// @return the pieces one after another, in a text with room to grow
template <typename... Pieces>
[[gnu::always_inline]] inline std::string concatenateWithRoom(const Pieces&... pieces) {
  const std::size_t size = (std::string_view(pieces).size() + ...);
  std::string text(roomyCapacity(size), '\0');
  writePieces(text.data(), pieces...);
  text.resize(size);
  return text;
}

/// Appends the pieces, none of which may be a part of `text`, to a text that goes on to grow.
template <typename... Pieces>
[[gnu::always_inline]] inline void appendPieces(std::string& text, const Pieces&... pieces) {
  const std::size_t before = text.size();
  const std::size_t size = before + (std::string_view(pieces).size() + ...);
  if (size > text.capacity()) text.reserve(roomyCapacity(size));
  if constexpr (sizeof...(pieces) == 1) {
    text.append(std::string_view(pieces)...);
  } else {
    text.resize(size);
    writePieces(text.data() + before, pieces...);
  }
}

}  // namespace vorn
