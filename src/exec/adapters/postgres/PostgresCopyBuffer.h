#pragma once

#include <libpq-fe.h>

#include <cstddef>
#include <memory>

namespace vorn {

/// What goes to a connection that waits for the data of a COPY, collected in one fixed buffer.
class PostgresCopyBuffer {
 public:
  /// The most that can be asked of room().
  static constexpr std::size_t kMaxRoom = 16384;

  explicit PostgresCopyBuffer(PGconn* connection);

  /// @return where at least `size` bytes may be written, or null when the connection takes no more; its next
  ///         answer then tells why
  char* room(std::size_t size) {
    return static_cast<std::size_t>(m_limit - m_end) >= size || flush() ? m_end : nullptr;
  }

  /// Takes what was written from room() up to `end`.
  void advance(char* end) { m_end = end; }

  /// Appends bytes of any number. @return false when the connection takes no more
  bool append(const char* bytes, std::size_t size);

  /// Hands everything over. @return false when the connection takes no more
  bool flush();

 private:
  PGconn* m_connection;
  std::unique_ptr<char[]> m_buffer;
  char* m_end;  ///< behind what is in the buffer
  const char* m_limit;
};

}  // namespace vorn
