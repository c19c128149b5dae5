#include "exec/adapters/postgres/PostgresBinaryCopy.h"

#include <endian.h>

#include <cstdint>
#include <cstring>

#include "exec/adapters/postgres/PostgresCopyBuffer.h"

namespace vorn {

namespace {

// Signature, flags, extension length 0.
constexpr char kHeader[] = "PGCOPY\n\377\r\n\0\0\0\0\0\0\0\0\0";
constexpr std::uint16_t kTrailer = 0xffff;
constexpr std::size_t kNumberSize = sizeof(std::uint32_t) + kPostgresBinarySize;

char* put16(char* out, std::size_t number) {
  const std::uint16_t bits = htobe16(static_cast<std::uint16_t>(number));
  std::memcpy(out, &bits, sizeof bits);
  return out + sizeof bits;
}

char* put32(char* out, std::size_t number) {
  const std::uint32_t bits = htobe32(static_cast<std::uint32_t>(number));
  std::memcpy(out, &bits, sizeof bits);
  return out + sizeof bits;
}

}  // namespace

PostgresBinaryCopy::PostgresBinaryCopy(const BatchColumns& columns, const std::vector<Oid>& types)
    : m_columns(columns) {
  for (std::size_t index = 0; index < columns.size(); ++index) {
    m_forms.push_back(index < types.size() ? postgresForm(columns[index], types[index]) : PostgresForm::None);
  }
}

bool PostgresBinaryCopy::possible() const {
  for (std::size_t index = 0; index < m_columns.size(); ++index) {
    if (!hasPostgresForm(m_columns[index], m_forms[index], m_columns.rows())) return false;
  }
  return true;
}

bool PostgresBinaryCopy::send(PostgresChannel& channel) const {
  PostgresCopyBuffer buffer(channel);
  if (!buffer.append(kHeader, sizeof kHeader - 1)) return false;
  for (std::size_t row = 0; row < m_columns.rows(); ++row) {
    char* out = buffer.room(sizeof(std::uint16_t));
    if (out == nullptr) return false;
    buffer.advance(put16(out, m_columns.size()));
    for (std::size_t index = 0; index < m_columns.size(); ++index) {
      const BatchColumn& column = m_columns[index];
      const PostgresForm form = m_forms[index];
      out = buffer.room(kNumberSize);
      if (out == nullptr) return false;
      if (form != PostgresForm::Text) {
        buffer.advance(writePostgresBinary(put32(out, postgresFormSize(form)), column, form, row));
        continue;
      }
      const std::string& text = column.text(row);
      buffer.advance(put32(out, text.size()));
      if (!buffer.append(text.data(), text.size())) return false;
    }
  }
  char* const out = buffer.room(sizeof kTrailer);
  if (out == nullptr) return false;
  buffer.advance(put16(out, kTrailer));
  return buffer.flush();
}

}  // namespace vorn
