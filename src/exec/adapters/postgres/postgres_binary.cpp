#include "exec/adapters/postgres/postgres_binary.h"

#include <endian.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include "exec/adapters/postgres/postgres_oid.h"

namespace vorn {

namespace {

// The server takes no larger value.
constexpr std::size_t kMaxText = 0x3fffffff;

template <typename Bits>
char* put(char* out, Bits bits) {
  std::memcpy(out, &bits, sizeof bits);
  return out + sizeof bits;
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

// A double for a column of four bytes is left out: its text is rounded once, its bytes would be twice.
PostgresForm postgresForm(const BatchColumn& column, Oid type) {
  const bool text = column.isText();
  switch (type) {
    case postgres_oid::kText:
    case postgres_oid::kVarchar:
    case postgres_oid::kBpchar:
      return text ? PostgresForm::Text : PostgresForm::None;
    case postgres_oid::kInt2:
      return PostgresForm::Int16;
    case postgres_oid::kInt4:
      return PostgresForm::Int32;
    case postgres_oid::kInt8:
      return PostgresForm::Int64;
    case postgres_oid::kFloat4:
      return column.elementCode == element_code::kFloat ? PostgresForm::Float32 : PostgresForm::None;
    case postgres_oid::kFloat8:
      return text ? PostgresForm::None : PostgresForm::Float64;
    default:
      return PostgresForm::None;
  }
}

bool hasPostgresForm(const BatchColumn& column, PostgresForm form, std::size_t rows) {
  switch (form) {
    case PostgresForm::None:
      return false;
    case PostgresForm::Int16:
      return allFit<std::int16_t>(column, rows);
    case PostgresForm::Int32:
      return allFit<std::int32_t>(column, rows);
    case PostgresForm::Int64:
      return allFit<std::int64_t>(column, rows);
    case PostgresForm::Text: {
      const auto* first = static_cast<const std::string*>(column.first);
      return std::all_of(first, first + rows,
                         [](const std::string& text) { return text.size() <= kMaxText; });
    }
    default:
      return true;
  }
}

std::size_t postgresFormSize(PostgresForm form) {
  if (form == PostgresForm::Int16) return 2;
  return form == PostgresForm::Int32 || form == PostgresForm::Float32 ? 4 : 8;
}

char* writePostgresBinary(char* out, const BatchColumn& column, PostgresForm form, std::size_t row) {
  switch (form) {
    case PostgresForm::Int16:
      return put(out, htobe16(static_cast<std::uint16_t>(column.bits(row))));
    case PostgresForm::Int32:
      return put(out, htobe32(static_cast<std::uint32_t>(column.bits(row))));
    case PostgresForm::Int64:
      return put(out, htobe64(static_cast<std::uint64_t>(column.bits(row))));
    case PostgresForm::Float32:
      return put(out, htobe32(bitsOf<std::uint32_t>(static_cast<const float*>(column.first)[row])));
    default:
      return put(out, htobe64(bitsOf<std::uint64_t>(realOf(column, row))));
  }
}

}  // namespace vorn
