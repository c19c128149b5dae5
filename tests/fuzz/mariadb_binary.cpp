// A value in the binary form of MariaDB's protocol, against what printf makes of its parts. The input is the
// type, the flags, the decimals, the column's length, and the bytes of the value.
#include <algorithm>
#include <cstring>

#include "exec/adapters/mariadb/mariadb_binary.h"
#include "fuzz.h"

namespace {

template <typename... Parts>
std::string print(const char* format, Parts... parts) {
  char text[400];
  return {text, static_cast<std::size_t>(std::snprintf(text, sizeof text, format, parts...))};
}

template <typename Number>
Number at(const std::uint8_t* bytes) {
  Number number;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

std::string fraction(const std::uint8_t* bytes, unsigned decimals) {
  const std::string text = print(".%06u", at<std::uint32_t>(bytes));
  return text.substr(0, decimals > 6 ? (text == ".000000" ? 0 : 7) : decimals == 0 ? 0 : 1 + decimals);
}

std::string expected(const MYSQL_FIELD& field, const std::uint8_t* value) {
  const bool isUnsigned = (field.flags & UNSIGNED_FLAG) != 0, filled = (field.flags & ZEROFILL_FLAG) != 0;
  const int width = filled ? static_cast<int>(field.length) : 1;
  const std::uint8_t* const parts = value + 1;
  vorn::RowValue real;
  switch (field.type) {
    case MYSQL_TYPE_TINY:
      return print("%0*d", width, isUnsigned ? value[0] : at<std::int8_t>(value));
    case MYSQL_TYPE_LONGLONG:
      return print(isUnsigned ? "%0*lu" : "%0*ld", width, at<long>(value));
    case MYSQL_TYPE_DOUBLE:
      real.setReal(std::strtod(
          print(field.decimals < 31 ? "%.*f" : "%.*g", static_cast<int>(field.decimals), at<double>(value))
              .c_str(),
          nullptr));
      return real.text();
    case MYSQL_TYPE_TIME:
      return print("%s%02d:%02d:%02d", parts[0] == 0 ? "" : "-", at<std::uint16_t>(parts + 1) * 24 + parts[5],
                   parts[6], parts[7]) +
             fraction(parts + 8, field.decimals);
    case MYSQL_TYPE_DATETIME:
      return print("%04d-%02d-%02d %02d:%02d:%02d", at<std::uint16_t>(parts), parts[2], parts[3], parts[4],
                   parts[5], parts[6]) +
             fraction(parts + 7, field.decimals);
    default:
      return {reinterpret_cast<const char*>(parts), value[0]};
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  constexpr enum_field_types kTypes[] = {MYSQL_TYPE_TINY, MYSQL_TYPE_LONGLONG, MYSQL_TYPE_DOUBLE,
                                         MYSQL_TYPE_TIME, MYSQL_TYPE_DATETIME, MYSQL_TYPE_STRING};
  constexpr std::uint8_t kSizes[][4] = {{0, 8, 12, 12}, {0, 4, 7, 11}, {0, 1, 7, 16}};  // of what has a size
  std::uint8_t input[4 + 1 + 16] = {};
  if (size > 0) std::memcpy(input, bytes, std::min(size, sizeof input));
  std::uint8_t* const value = input + 4;
  MYSQL_FIELD field{};
  field.type = kTypes[input[0] % 6];
  constexpr unsigned kFlags[] = {0, UNSIGNED_FLAG, UNSIGNED_FLAG | ZEROFILL_FLAG};
  field.flags = kFlags[input[1] % 3];
  field.decimals = input[2] % 40;
  field.length = input[3];
  if (input[0] % 6 >= 3) {
    value[0] = kSizes[input[0] % 6 - 3][value[0] % 4];
    if (field.type == MYSQL_TYPE_TIME) value[4] = value[5] = 0;
    value[field.type == MYSQL_TYPE_TIME ? 12 : 11] = value[field.type == MYSQL_TYPE_TIME ? 11 : 10] =
        0;  // of the fraction
    std::fill(value + 1 + value[0], std::end(input), std::uint8_t{0});
  }
  if (!vorn::hasBinaryForm(field)) return 0;
  vorn::RowValue row;
  vorn::setFromBinary(row, vorn::mariaDbForm(field), field, value);
  const std::string text = row.text(), wanted = expected(field, value);
  require(text == wanted || contains(text, "nan"), "a value in binary form is what its text says");
  return 0;
}
