#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "vorn/export.h"

namespace vorn {

/// One field of a row, as the driver delivered it: null, 64-bit integer, double or text.
///
/// It turns into text when asked: an integer in decimal; a real in the shortest form that reads back to the
/// same double (`1.5`), with `.0` where it would look like an integer (`100000.0`) and with an exponent below
/// 1e-4 and from 1e16 up (`1e+20`), `inf`, `-inf` or `nan` where it is no number; NULL as the empty text; a
/// text (booleans, timestamps and binary data included) as its bytes. Setting another value keeps the storage
/// of the text for the next one, so a row that is filled again and again stops allocating. A plain value; one
/// thread at a time.
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

  /// Room for the text of a number.
  struct TextBuffer {
    char bytes[40];
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
