#include "exec/adapters/postgres/PostgresCopy.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "exec/adapters/postgres/PostgresText.h"

namespace vorn {

namespace {

constexpr std::size_t kBufferSize = 65536;
constexpr std::size_t kSlice = 4096;  ///< bytes of a text that are escaped in one go
constexpr std::size_t kReserve = 2 * kSlice + kPostgresNumberSize + 1;

constexpr std::uint64_t kEveryByte = 0x0101010101010101;

// Whether any of eight bytes is a backslash or a control character. May take a byte behind such a one for
// another, never miss one.
bool needsEscape(std::uint64_t eight) {
  const std::uint64_t backslash = eight ^ (kEveryByte * '\\');
  return ((((eight - kEveryByte * 0x20) & ~eight) | ((backslash - kEveryByte) & ~backslash)) &
          (kEveryByte * 0x80)) != 0;
}

char escapeLetter(char c) {
  switch (c) {
    case '\\':
      return '\\';
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    default:
      return '\0';
  }
}

// Needs room for twice the size.
char* escape(char* out, const char* text, std::size_t size) {
  const char* const end = text + size;
  while (text < end) {
    std::uint64_t eight = 0;
    if (end - text >= 8) {
      std::memcpy(&eight, text, 8);
      if (!needsEscape(eight)) {
        std::memcpy(out, text, 8);
        text += 8;
        out += 8;
        continue;
      }
    }
    for (const char* const stop = text + std::min<std::ptrdiff_t>(8, end - text); text < stop; ++text) {
      const char letter = escapeLetter(*text);
      if (letter != '\0') *out++ = '\\';
      *out++ = letter == '\0' ? *text : letter;
    }
  }
  return out;
}

}  // namespace

PostgresCopy::PostgresCopy() : m_buffer(new char[kBufferSize]), m_end(m_buffer.get()) {}

bool PostgresCopy::flush(PGconn* connection) {
  const auto size = static_cast<int>(m_end - m_buffer.get());
  m_end = m_buffer.get();
  return size == 0 || PQputCopyData(connection, m_buffer.get(), size) == 1;
}

bool PostgresCopy::putText(PGconn* connection, const std::string& text) {
  for (std::size_t at = 0; at < text.size(); at += kSlice) {
    m_end = escape(m_end, text.data() + at, std::min(kSlice, text.size() - at));
    if (m_buffer.get() + kBufferSize - m_end < static_cast<std::ptrdiff_t>(kReserve) && !flush(connection)) {
      return false;
    }
  }
  return true;
}

bool PostgresCopy::send(PGconn* connection, const BatchColumns& columns) {
  const char* const full = m_buffer.get() + kBufferSize - kReserve;
  for (std::size_t row = 0; row < columns.rows(); ++row) {
    for (std::size_t index = 0; index < columns.size(); ++index) {
      const BatchColumn& column = columns[index];
      if (column.elementCode != element_code::kString) {
        m_end = writePostgresNumber(m_end, column, row);
      } else if (!putText(connection, column.text(row))) {
        return false;
      }
      *m_end++ = index + 1 == columns.size() ? '\n' : '\t';
      if (m_end > full && !flush(connection)) return false;
    }
  }
  return flush(connection);
}

}  // namespace vorn
