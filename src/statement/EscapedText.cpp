#include "statement/EscapedText.h"

#include "vorn/platform/text.h"

namespace vorn {

[[gnu::cold]] void EscapedText::escape(const std::string& text) {
  m_escaped = escapeSingleQuotes(text);
  m_view = m_escaped;
}

}  // namespace vorn
