#include "vorn/platform/text.h"

#include <algorithm>

namespace vorn {

std::string escapeSingleQuotes(const std::string& text) {
  std::size_t quote = text.find('\'');
  if (quote == std::string::npos) return text;

  std::string escaped;
  escaped.reserve(text.size() + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\'')));
  std::size_t copied = 0;
  for (; quote != std::string::npos; quote = text.find('\'', quote + 1)) {
    escaped.append(text, copied, quote + 1 - copied);
    escaped += '\'';
    copied = quote + 1;
  }
  return escaped.append(text, copied);
}

std::string escapeLikePattern(const std::string& pattern) {
  return escapeSingleQuotes(pattern);
}

}  // namespace vorn
