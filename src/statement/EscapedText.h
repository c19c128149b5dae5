#pragma once

#include <string>
#include <string_view>

namespace vorn {

/// A text as it is written between single quotes. One without a quote is not copied, so it has to outlive the
/// object.
class EscapedText {
 public:
  explicit EscapedText(const std::string& text) : m_view(text) {
    if (std::char_traits<char>::find(text.data(), text.size(), '\'') != nullptr) escape(text);
  }
  EscapedText(const EscapedText&) = delete;
  EscapedText& operator=(const EscapedText&) = delete;

  operator std::string_view() const noexcept { return m_view; }

 private:
  void escape(const std::string& text);

  std::string_view m_view;
  std::string m_escaped;
};

}  // namespace vorn
