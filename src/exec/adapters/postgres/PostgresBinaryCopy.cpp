#include "exec/adapters/postgres/PostgresBinaryCopy.h"

#include <endian.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include "exec/adapters/postgres/PostgresCopyBuffer.h"
#include "exec/adapters/postgres/postgres_oid.h"

namespace vorn {

namespace {

// Signature, flags, extension length 0.
constexpr char kHeader[] = "PGCOPY\n\377\r\n\0\0\0\0\0\0\0\0\0";
constexpr std::uint16_t kTrailer = 0xffff;
constexpr std::size_t kNumberSize = sizeof(std::uint32_t) + sizeof(std::uint64_t);
// The server takes no larger value.
constexpr std::size_t kMaxText = 0x3fffffff;

template <typename Bits>
char* put(char* out, Bits bits) {
  std::memcpy(out, &bits, sizeof bits);
  return out + sizeof bits;
}

char* put16(char* out, std::uint16_t bits) {
  return put(out, htobe16(bits));
}

char* put32(char* out, std::uint32_t bits) {
  return put(out, htobe32(bits));
}

char* put64(char* out, std::uint64_t bits) {
  return put(out, htobe64(bits));
}

template <typename Bits, typename Real>
Bits bitsOf(Real value) {
  static_assert(sizeof(Bits) == sizeof value && std::numeric_limits<Real>::is_iec559);
  Bits bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

double toReal(const std::string&) {
  return 0;  // no column of texts has this form
}
double toReal(long value) {
  return static_cast<double>(value);
}
double toReal(unsigned long value) {
  return static_cast<double>(value);
}
double toReal(double value) {
  return value;
}

double realOf(const BatchColumn& column, std::size_t row) {
  return column.visit([row](const auto* elements) { return toReal(elements[row]); });
}

template <typename Integer>
bool allFit(const BatchColumn& column, std::size_t rows) {
  return column.visit([rows](const auto* elements) {
    return std::all_of(elements, elements + rows, [](const auto& element) {
      if constexpr (std::is_integral_v<std::decay_t<decltype(element)>>) {
        return std::in_range<Integer>(element);
      } else {
        return false;
      }
    });
  });
}

}  // namespace

PostgresBinaryCopy::PostgresBinaryCopy(const BatchColumns& columns, const std::vector<Oid>& types)
    : m_columns(columns) {
  for (std::size_t index = 0; index < columns.size(); ++index) {
    m_forms.push_back(index < types.size() ? formOf(columns[index], types[index]) : Form::None);
  }
}

// A double for a column of four bytes is left out: its text is rounded once, its bytes would be twice.
PostgresBinaryCopy::Form PostgresBinaryCopy::formOf(const BatchColumn& column, Oid type) {
  const bool integer = column.isInteger();
  const bool text = column.isText();
  switch (type) {
    case postgres_oid::kText:
    case postgres_oid::kVarchar:
    case postgres_oid::kBpchar:
      return text ? Form::Text : Form::None;
    case postgres_oid::kInt2:
      return integer ? Form::Int16 : Form::None;
    case postgres_oid::kInt4:
      return integer ? Form::Int32 : Form::None;
    case postgres_oid::kInt8:
      return integer ? Form::Int64 : Form::None;
    case postgres_oid::kFloat4:
      return column.elementCode == element_code::kFloat ? Form::Float32 : Form::None;
    case postgres_oid::kFloat8:
      return text ? Form::None : Form::Float64;
    default:
      return Form::None;
  }
}

// A number out of its column's range goes as text, for the server to refuse.
bool PostgresBinaryCopy::fits(const BatchColumn& column, Form form, std::size_t rows) {
  switch (form) {
    case Form::None:
      return false;
    case Form::Int16:
      return allFit<std::int16_t>(column, rows);
    case Form::Int32:
      return allFit<std::int32_t>(column, rows);
    case Form::Int64:
      return allFit<std::int64_t>(column, rows);
    case Form::Text: {
      const auto* first = static_cast<const std::string*>(column.first);
      return std::all_of(first, first + rows,
                         [](const std::string& text) { return text.size() <= kMaxText; });
    }
    default:
      return true;
  }
}

bool PostgresBinaryCopy::possible() const {
  for (std::size_t index = 0; index < m_columns.size(); ++index) {
    if (!fits(m_columns[index], m_forms[index], m_columns.rows())) return false;
  }
  return true;
}

char* PostgresBinaryCopy::writeNumber(char* out, const BatchColumn& column, Form form, std::size_t row) {
  switch (form) {
    case Form::Int16:
      return put16(put32(out, 2), static_cast<std::uint16_t>(column.bits(row)));
    case Form::Int32:
      return put32(put32(out, 4), static_cast<std::uint32_t>(column.bits(row)));
    case Form::Int64:
      return put64(put32(out, 8), static_cast<std::uint64_t>(column.bits(row)));
    case Form::Float32:
      return put32(put32(out, 4), bitsOf<std::uint32_t>(static_cast<const float*>(column.first)[row]));
    default:
      return put64(put32(out, 8), bitsOf<std::uint64_t>(realOf(column, row)));
  }
}

bool PostgresBinaryCopy::send(PostgresChannel& channel) const {
  PostgresCopyBuffer buffer(channel);
  if (!buffer.append(kHeader, sizeof kHeader - 1)) return false;
  for (std::size_t row = 0; row < m_columns.rows(); ++row) {
    char* out = buffer.room(sizeof(std::uint16_t));
    if (out == nullptr) return false;
    buffer.advance(put16(out, static_cast<std::uint16_t>(m_columns.size())));
    for (std::size_t index = 0; index < m_columns.size(); ++index) {
      const BatchColumn& column = m_columns[index];
      out = buffer.room(kNumberSize);
      if (out == nullptr) return false;
      if (m_forms[index] != Form::Text) {
        buffer.advance(writeNumber(out, column, m_forms[index], row));
        continue;
      }
      const std::string& text = column.text(row);
      buffer.advance(put32(out, static_cast<std::uint32_t>(text.size())));
      if (!buffer.append(text.data(), text.size())) return false;
    }
  }
  char* const out = buffer.room(sizeof kTrailer);
  if (out == nullptr) return false;
  buffer.advance(put16(out, kTrailer));
  return buffer.flush();
}

}  // namespace vorn
