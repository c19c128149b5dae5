#pragma once

#include <array>
#include <charconv>
#include <string>
#include <vector>

namespace bench {

/// Values as libpq takes them, as texts. A string must outlive their use.
class TextParameters {
 public:
  explicit TextParameters(std::size_t count) : m_numbers(count) { m_values.reserve(count); }

  void clear() { m_values.clear(); }
  void add(const std::string& text) { m_values.push_back(text.c_str()); }
  template <typename Number>
  void add(Number value) {
    std::array<char, 32>& digits = m_numbers[m_values.size()];
    *std::to_chars(digits.begin(), digits.end() - 1, value).ptr = '\0';
    m_values.push_back(digits.data());
  }

  int count() const { return static_cast<int>(m_values.size()); }
  const char* const* values() const { return m_values.data(); }

 private:
  std::vector<std::array<char, 32>> m_numbers;  // never grows, so that the pointers stay valid
  std::vector<const char*> m_values;
};

}  // namespace bench
