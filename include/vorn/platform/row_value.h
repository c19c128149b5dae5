#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "vorn/export.h"

namespace vorn {

/// The value of one field of a row, as the store delivered it: NULL, a 64-bit integer, a double or a text.
///
/// A row value is turned into text when a caller asks for that. An integer is written in decimal, a real in
/// plain notation (see below), and NULL as the empty text; a text is its bytes, also where it is a boolean, a
/// timestamp or binary data.
///
/// The text of a real reads back to the same double, with as few digits after the point as that takes: `1.5`,
/// `0.00001`. A whole number is written with all of its digits and ends in `.0`: `150000000000000000.0`. No
/// real is written with an exponent, so that an integer that is read from the text is the real cut towards
/// zero, or the nearest limit of the integer's type. The longest text has 327 characters, that of the
/// smallest doubles. Reals that are no numbers are `inf`, `-inf` and `nan`.
///
/// The storage of a text is kept when another value is set, so that a row that is filled again and again
/// stops allocating.
/// @code
///   vorn::RowValue value;
///   value.setReal(1.5);
///   assert(value.kind() == vorn::RowValue::Kind::Real && value.text() == "1.5");
/// @endcode
///
/// Threads: one thread at a time.
///
/// Errors: only the standard strings throw.
class VORN_API RowValue {
 public:
  enum class Kind : unsigned char { Null, Integer, Real, Text };

  /// @return what the value is; Null for a new value
  Kind kind() const noexcept { return m_kind; }

  /// @return the value itself
  ///
  /// Requires: the value is of the kind Integer, Real or Text, in this order. Otherwise the result is of no
  /// meaning.
  std::int64_t integer() const noexcept { return m_number.integer; }
  double real() const noexcept { return m_number.real; }
  const std::string& textBytes() const noexcept { return m_text; }

  /// Replaces the value, and with it the kind. The bytes of a text are copied.
  void setNull() noexcept { m_kind = Kind::Null; }
  void setInteger(std::int64_t value) noexcept {
    m_number.integer = value;
    m_kind = Kind::Integer;
  }
  void setReal(double value) noexcept {
    m_number.real = value;
    m_kind = Kind::Real;
  }
  void setText(const char* bytes, std::size_t size) {
    m_text.assign(bytes, size);
    m_kind = Kind::Text;
  }

  /// @return the value as text
  std::string text() const;

  /// Room for the text of a number and the zero byte after it.
  struct TextBuffer {
    char bytes[336];
  };

  /// Shows the value as text without an allocation: a text where it is, a number after writing it to
  /// `buffer`.
  /// @return the text, with a zero byte after it. It is valid until the value or `buffer` changes.
  std::string_view textView(TextBuffer& buffer) const noexcept;

  /// Moves the value as text into `target`, and keeps the storage that `target` had for the next row. The
  /// value is unspecified afterwards, until it is set again.
  void takeText(std::string& target) {
    if (m_kind == Kind::Text) {
      target.swap(m_text);
    } else {
      writeNumber(target);
    }
  }

 private:
  void writeNumber(std::string& target) const;

  union Number {
    std::int64_t integer;
    double real;
  };

  Number m_number{0};
  std::string m_text;
  Kind m_kind = Kind::Null;
};

}  // namespace vorn
