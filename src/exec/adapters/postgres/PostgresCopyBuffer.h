#pragma once

#include <cstddef>
#include <memory>

#include "exec/adapters/postgres/PostgresChannel.h"

namespace vorn {

/// What goes to a channel that waits for the data of a COPY, collected in one fixed buffer.
class PostgresCopyBuffer {
 public:
  /// The most that can be asked of room().
  static constexpr std::size_t kMaxRoom = 16384;

  explicit PostgresCopyBuffer(PostgresChannel& channel);

  /// @return where at least `size` bytes may be written, or null when the server takes no more; its answer
  ///         then says why
  char* room(std::size_t size) {
    return static_cast<std::size_t>(m_limit - m_end) >= size || flush() ? m_end : nullptr;
  }

  /// Takes what was written from room() up to `end`.
  void advance(char* end) { m_end = end; }

  /// Appends bytes of any number. @return false when the server takes no more
  bool append(const char* bytes, std::size_t size);

  /// Hands everything over. @return false when the server takes no more
  bool flush();

 private:
  PostgresChannel& m_channel;
  std::unique_ptr<char[]> m_buffer;
  char* m_end;  ///< after what is in the buffer
  const char* m_limit;
};

}  // namespace vorn
