#pragma once

#include <charconv>
#include <string>
#include <string_view>
#include <system_error>

/// Bytes of texts that are ASCII or UTF-8, whatever the process's locale.
namespace vorn::ascii {

constexpr bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

constexpr char lowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr char upperCase(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

constexpr bool isLetter(char c) {
  return lowerCase(c) >= 'a' && lowerCase(c) <= 'z';
}

/// @return whether the byte may stand in an SQL identifier without quotes, after its first byte
constexpr bool isIdentifierByte(char c) {
  return isLetter(c) || isDigit(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

/// @return whether SQL takes the byte for white space
constexpr bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

/// @return whether the byte is a control character that no SQL takes for white space
constexpr bool isControl(char c) {
  return static_cast<unsigned char>(c) < ' ' && !isBlank(c);
}

/// Appends a mark and the byte's two hexadecimal digits: "%2F", "\x1b".
inline void appendHex(std::string& target, std::string_view mark, char c,
                      std::string_view digits = "0123456789ABCDEF") {
  const auto byte = static_cast<unsigned char>(c);
  target.append(mark).append({digits[byte >> 4], digits[byte & 15]});
}

/// Parses a text that is a number from its first byte to its last.
/// @return false for any other text
template <typename Number>
bool parseWhole(std::string_view text, Number& number) noexcept {
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end;
}

}  // namespace vorn::ascii
