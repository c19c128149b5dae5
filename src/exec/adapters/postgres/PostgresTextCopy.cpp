#include "exec/adapters/postgres/PostgresTextCopy.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "exec/adapters/postgres/PostgresCopyBuffer.h"
#include "exec/adapters/postgres/postgres_literal.h"

namespace vorn {

namespace {

// Bytes of a text that are escaped in one go.
constexpr std::size_t kSlice = PostgresCopyBuffer::kMaxRoom / 2;

constexpr std::uint64_t kEveryByte = 0x0101010101010101;

// Whether any of eight bytes is a backslash or a control character. May take a byte after such a one for
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

bool putText(PostgresCopyBuffer& buffer, const std::string& text) {
  for (std::size_t at = 0; at < text.size(); at += kSlice) {
    const std::size_t size = std::min(kSlice, text.size() - at);
    char* const out = buffer.room(2 * size);
    if (out == nullptr) return false;
    buffer.advance(escape(out, text.data() + at, size));
  }
  return true;
}

}  // namespace

bool PostgresTextCopy::send(PostgresChannel& channel) const {
  PostgresCopyBuffer buffer(channel);
  for (std::size_t row = 0; row < m_columns.rows(); ++row) {
    for (std::size_t index = 0; index < m_columns.size(); ++index) {
      const BatchColumn& column = m_columns[index];
      const bool text = column.isText();
      if (text && !putText(buffer, column.text(row))) return false;
      char* out = buffer.room(kPostgresNumberSize + 1);
      if (out == nullptr) return false;
      if (!text) out = writePostgresNumber(out, column, row);
      *out++ = index + 1 == m_columns.size() ? '\n' : '\t';
      buffer.advance(out);
    }
  }
  return buffer.flush();
}

}  // namespace vorn
