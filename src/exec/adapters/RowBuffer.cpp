#include "exec/adapters/RowBuffer.h"

#include <cstdint>
#include <cstring>

namespace vorn {

void RowBuffer::append(const void* bytes, std::size_t size) {
  const auto* first = static_cast<const char*>(bytes);
  m_bytes.insert(m_bytes.end(), first, first + size);
}

void RowBuffer::extract(void* bytes, std::size_t size) {
  std::memcpy(bytes, m_bytes.data() + m_read, size);
  m_read += size;
}

void RowBuffer::push(const std::vector<RowValue>& row) {
  m_columns = row.size();
  for (const RowValue& value : row) {
    const RowValue::Kind kind = value.kind();
    append(&kind, sizeof kind);
    if (kind == RowValue::Kind::Integer) {
      const std::int64_t number = value.integer();
      append(&number, sizeof number);
    } else if (kind == RowValue::Kind::Real) {
      const double number = value.real();
      append(&number, sizeof number);
    } else if (kind == RowValue::Kind::Text) {
      const std::size_t size = value.textBytes().size();
      append(&size, sizeof size);
      append(value.textBytes().data(), size);
    }
  }
  ++m_rows;  // last: what could not be kept whole is no row
}

bool RowBuffer::pop(std::vector<RowValue>& row) {
  if (m_rows == 0) return false;
  --m_rows;
  row.resize(m_columns);
  for (RowValue& value : row) {
    RowValue::Kind kind{};
    extract(&kind, sizeof kind);
    if (kind == RowValue::Kind::Integer) {
      std::int64_t number = 0;
      extract(&number, sizeof number);
      value.setInteger(number);
    } else if (kind == RowValue::Kind::Real) {
      double number = 0;
      extract(&number, sizeof number);
      value.setReal(number);
    } else if (kind == RowValue::Kind::Text) {
      std::size_t size = 0;
      extract(&size, sizeof size);
      value.setText(m_bytes.data() + m_read, size);
      m_read += size;
    } else {
      value.setNull();
    }
  }
  return true;
}

}  // namespace vorn
