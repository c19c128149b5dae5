#include "exec/adapters/postgres/PostgresCopyBuffer.h"

#include <algorithm>
#include <cstring>

namespace vorn {

namespace {

constexpr std::size_t kBufferSize = 65536;

}  // namespace

PostgresCopyBuffer::PostgresCopyBuffer(PostgresChannel& channel)
    : m_channel(channel),
      m_buffer(new char[kBufferSize]),
      m_end(m_buffer.get()),
      m_limit(m_end + kBufferSize) {}

bool PostgresCopyBuffer::append(const char* bytes, std::size_t size) {
  while (size > 0) {
    const std::size_t piece = std::min(size, kMaxRoom);
    char* const out = room(piece);
    if (out == nullptr) return false;
    std::memcpy(out, bytes, piece);
    m_end = out + piece;
    bytes += piece;
    size -= piece;
  }
  return true;
}

bool PostgresCopyBuffer::flush() {
  const auto size = static_cast<int>(m_end - m_buffer.get());
  m_end = m_buffer.get();
  return size == 0 || m_channel.putCopyData(m_buffer.get(), size);
}

}  // namespace vorn
