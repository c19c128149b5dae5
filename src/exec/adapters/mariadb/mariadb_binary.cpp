#include "exec/adapters/mariadb/mariadb_binary.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>

#include "common/ascii.h"

namespace vorn {

namespace {

// At least as many digits after the point as this stand for as many as a number has.
constexpr unsigned kAnyDigits = 31;

// Of a time: at most as many digits of its second.
constexpr unsigned kMostFractionDigits = 6;

// As the server prints a float(4).
constexpr int kFloatDigits = 6;

template <typename Number>
Number load(const unsigned char* bytes) {
  Number number;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

template <typename Signed, typename Unsigned>
void setInteger(RowValue& target, const MYSQL_FIELD& field, const unsigned char* bytes) {
  if ((field.flags & UNSIGNED_FLAG) == 0) return target.setInteger(load<Signed>(bytes));
  const std::uint64_t value = load<Unsigned>(bytes);
  if (value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    return target.setInteger(static_cast<std::int64_t>(value));
  }
  char text[24];
  const char* const end = std::to_chars(text, std::end(text), value).ptr;
  target.setText(text, static_cast<std::size_t>(end - text));
}

void setInteger(RowValue& target, const MYSQL_FIELD& field, const unsigned char* bytes) {
  switch (field.type) {
    case MYSQL_TYPE_TINY:
      return setInteger<std::int8_t, std::uint8_t>(target, field, bytes);
    case MYSQL_TYPE_SHORT:
    case MYSQL_TYPE_YEAR:
      return setInteger<std::int16_t, std::uint16_t>(target, field, bytes);
    case MYSQL_TYPE_LONGLONG:
      return setInteger<std::int64_t, std::uint64_t>(target, field, bytes);
    default:
      return setInteger<std::int32_t, std::uint32_t>(target, field, bytes);
  }
}

// What the server prints is what counts: a column may print fewer digits than its values have.
void setReal(RowValue& target, const MYSQL_FIELD& field, const unsigned char* bytes) {
  const bool narrow = field.type == MYSQL_TYPE_FLOAT;
  double value = narrow ? load<float>(bytes) : load<double>(bytes);
  char text[400];
  const char* end = text;
  if (field.decimals < kAnyDigits) {
    end =
        std::to_chars(text, std::end(text), value, std::chars_format::fixed, static_cast<int>(field.decimals))
            .ptr;
  } else if (narrow) {
    end = std::to_chars(text, std::end(text), value, std::chars_format::general, kFloatDigits).ptr;
  }
  if (end != text) std::from_chars(text, end, value);
  target.setReal(value);
}

// A year is filled where it comes out of a column, and not where it comes out of an expression.
void setDigits(RowValue& target, const MYSQL_FIELD& field, const unsigned char* bytes) {
  RowValue number;
  setInteger(number, field, bytes);
  const std::string digits = number.text();
  const bool filled = (field.flags & ZEROFILL_FLAG) != 0 && field.length > digits.size();
  const std::string text = std::string(filled ? field.length - digits.size() : 0, '0') + digits;
  target.setText(text.data(), text.size());
}

/// A point in time or a span, as the server sends it: what is zero at its end is left out.
struct Moment {
  unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, fraction = 0;
  bool negative = false;
};

Moment momentOf(const unsigned char* bytes, unsigned long size) {
  Moment moment;
  if (size >= 4) {
    moment.year = load<std::uint16_t>(bytes);
    moment.month = bytes[2];
    moment.day = bytes[3];
  }
  if (size >= 7) {
    moment.hour = bytes[4];
    moment.minute = bytes[5];
    moment.second = bytes[6];
  }
  if (size >= 11) moment.fraction = load<std::uint32_t>(bytes + 7);
  return moment;
}

Moment spanOf(const unsigned char* bytes, unsigned long size) {
  constexpr unsigned kHoursOfDay = 24;
  Moment span;
  if (size >= 8) {
    span.negative = bytes[0] != 0;
    span.hour = load<std::uint32_t>(bytes + 1) * kHoursOfDay + bytes[5];
    span.minute = bytes[6];
    span.second = bytes[7];
  }
  if (size >= 12) span.fraction = load<std::uint32_t>(bytes + 8);
  return span;
}

int printFraction(char* text, std::size_t size, unsigned fraction, unsigned digits) {
  if (digits > kMostFractionDigits) digits = fraction == 0 ? 0 : kMostFractionDigits;
  if (digits == 0) return 0;
  for (unsigned left = digits; left < kMostFractionDigits; ++left) fraction /= 10;
  return std::snprintf(text, size, ".%0*u", static_cast<int>(digits), fraction);
}

void setTime(RowValue& target, const MYSQL_FIELD& field, const unsigned char* bytes, unsigned long size) {
  const bool span = field.type == MYSQL_TYPE_TIME;
  const Moment moment = span ? spanOf(bytes, size) : momentOf(bytes, size);
  char text[64];
  std::size_t at = 0;
  const auto advance = [&at](int printed) { at += static_cast<std::size_t>(printed); };
  if (span) {
    advance(std::snprintf(text, sizeof text, "%s", moment.negative ? "-" : ""));
  } else {
    advance(std::snprintf(text, sizeof text, "%04u-%02u-%02u", moment.year, moment.month, moment.day));
  }
  if (field.type != MYSQL_TYPE_DATE) {
    advance(std::snprintf(text + at, sizeof text - at, "%s%02u:%02u:%02u", span ? "" : " ", moment.hour,
                          moment.minute, moment.second));
    advance(printFraction(text + at, sizeof text - at, moment.fraction, field.decimals));
  }
  target.setText(text, at);
}

}  // namespace

MariaDbForm mariaDbForm(const MYSQL_FIELD& field) noexcept {
  if ((field.flags & ZEROFILL_FLAG) != 0) return MariaDbForm::Text;
  switch (field.type) {
    case MYSQL_TYPE_TINY:
    case MYSQL_TYPE_SHORT:
    case MYSQL_TYPE_INT24:
    case MYSQL_TYPE_LONG:
    case MYSQL_TYPE_LONGLONG:
      return MariaDbForm::Integer;
    case MYSQL_TYPE_FLOAT:
    case MYSQL_TYPE_DOUBLE:
      return MariaDbForm::Real;
    default:
      return MariaDbForm::Text;
  }
}

bool hasBinaryForm(const MYSQL_FIELD& field) noexcept {
  if ((field.flags & ZEROFILL_FLAG) == 0) return true;
  return field.type != MYSQL_TYPE_FLOAT && field.type != MYSQL_TYPE_DOUBLE &&
         field.type != MYSQL_TYPE_NEWDECIMAL && field.type != MYSQL_TYPE_DECIMAL;
}

bool hasBinaryForms(const MYSQL_STMT* statement) noexcept {
  return std::all_of(statement->fields, statement->fields + statement->field_count, hasBinaryForm);
}

void setFromText(RowValue& target, MariaDbForm form, const char* text, std::size_t size) {
  std::int64_t integer = 0;
  double real = 0;
  if (form == MariaDbForm::Integer && ascii::parseWhole({text, size}, integer)) {
    target.setInteger(integer);
  } else if (form == MariaDbForm::Real && ascii::parseWhole({text, size}, real)) {
    target.setReal(real);
  } else {
    target.setText(text, size);
  }
}

void setFromBinary(RowValue& target, MariaDbForm form, const MYSQL_FIELD& field, unsigned char* bytes) {
  if (form == MariaDbForm::Integer) return setInteger(target, field, bytes);
  if (form == MariaDbForm::Real) return setReal(target, field, bytes);
  switch (field.type) {
    case MYSQL_TYPE_FLOAT:
    case MYSQL_TYPE_DOUBLE:
      return setReal(target, field, bytes);
    case MYSQL_TYPE_TINY:
    case MYSQL_TYPE_SHORT:
    case MYSQL_TYPE_INT24:
    case MYSQL_TYPE_LONG:
    case MYSQL_TYPE_LONGLONG:
    case MYSQL_TYPE_YEAR:
      return setDigits(target, field, bytes);
    default:
      break;
  }
  const unsigned long size = mysql_net_field_length(&bytes);
  switch (field.type) {
    case MYSQL_TYPE_DATE:
    case MYSQL_TYPE_TIME:
    case MYSQL_TYPE_DATETIME:
    case MYSQL_TYPE_TIMESTAMP:
      return setTime(target, field, bytes, size);
    default:
      return target.setText(reinterpret_cast<const char*>(bytes), size);
  }
}

}  // namespace vorn
