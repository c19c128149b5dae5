#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "vorn/export.h"

namespace vorn {

/// One field of a row, as the driver delivered it: null, 64-bit integer, double or text.
///
/// It turns into text when asked: an integer in decimal; a real in plain notation, see below; NULL as the
/// empty text; a text (booleans, timestamps and binary data included) as its bytes. Setting another value
/// keeps the storage of the text for the next one, so a row that is filled again and again stops allocating.
/// A plain value; one thread at a time.
///
/// The text of a real reads back to the same double with as few digits behind the point as that takes: `1.5`,
/// `0.00001`. A whole number is written out exactly and ends in `.0`: `150000000000000000.0`. No magnitude is
/// written with an exponent, so whatever reads an integer from the text gets the real cut towards zero, or
/// the nearest limit where the integer's type ends before. The longest text, of the smallest doubles, has 327
/// characters. A real that is no number is `inf`, `-inf` or `nan`.
class VORN_API RowValue {
 public:
  enum class Kind : unsigned char { Null, Integer, Real, Text };

  Kind kind() const noexcept { return m_kind; }

  /// The value itself; each is meaningful for its own kind only.
  std::int64_t integer() const noexcept { return m_number.integer; }
  double real() const noexcept { return m_number.real; }
  const std::string& textBytes() const noexcept { return m_text; }

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

  /// Room for the text of a number, and of a zero byte.
  struct TextBuffer {
    char bytes[336];
  };

  /// The value as text without an allocation: a text is shown where it is, a number is written to `buffer`.
  /// @return the text, with a zero byte behind it; valid while both the value and `buffer` are left alone
  std::string_view textView(TextBuffer& buffer) const noexcept;

  /// Moves the value's text into `target` and leaves the old storage of `target` here for the next row.
  /// The value is spent afterwards: its text is unspecified until it is set again.
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
