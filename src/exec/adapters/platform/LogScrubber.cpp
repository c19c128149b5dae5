#include <algorithm>
#include <string_view>

#include "common/ascii.h"
#include "vorn/platform/logging.h"

namespace vorn {

namespace {

bool isControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

bool isNameByte(char c) {
  return ascii::isLetter(c) || ascii::isDigit(c) || c == '_' || c == '-';
}

bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

// Names of settings whose value is a secret, in lower case; any name that ends in one counts.
constexpr std::string_view kSecretNames[] = {"password", "passwd", "pwd", "secret", "passphrase", "token"};

bool namesSecret(std::string_view name) {
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(), ascii::lowerCase);
  return std::any_of(std::begin(kSecretNames), std::end(kSecretNames), [&lower](std::string_view secret) {
    return lower.size() >= secret.size() &&
           lower.compare(lower.size() - secret.size(), secret.size(), secret) == 0;
  });
}

// The end of a setting's value that begins at `at`: a quoted text with its quotes, or one word.
std::size_t valueEnd(std::string_view text, std::size_t at) {
  if (at < text.size() && (text[at] == '\'' || text[at] == '"')) {
    for (std::size_t end = at + 1; end < text.size(); ++end) {
      if (text[end] == '\\') {
        ++end;
      } else if (text[end] == text[at]) {
        return end + 1;
      }
    }
    return text.size();
  }
  const std::size_t end = text.find_first_of(" \t\r\n&;,)\"'", at);
  return end == std::string_view::npos ? text.size() : end;
}

// Masks the value of every `name = value` whose name says that it is a secret. The name of one setting may be
// the value of the one before it.
std::string withoutSecretSettings(const std::string& text) {
  std::string masked;
  std::size_t taken = 0;
  for (std::size_t sign = text.find('='); sign != std::string::npos; sign = text.find('=', sign + 1)) {
    std::size_t nameEnd = sign;
    while (nameEnd > 0 && isBlank(text[nameEnd - 1])) --nameEnd;
    std::size_t nameBegin = nameEnd;
    while (nameBegin > 0 && isNameByte(text[nameBegin - 1])) --nameBegin;
    if (!namesSecret(std::string_view(text).substr(nameBegin, nameEnd - nameBegin))) continue;
    std::size_t begin = sign + 1;
    while (begin < text.size() && isBlank(text[begin])) ++begin;
    if (begin > taken) masked.append(text, taken, begin - taken).append("***");
    taken = std::max(taken, valueEnd(text, begin));
  }
  return masked.append(text, taken);
}

// Masks what stands between a URL's user name and its host.
void maskUrlPasswords(std::string& text) {
  for (std::size_t mark = text.find("://"); mark != std::string::npos; mark = text.find("://", mark + 3)) {
    const std::size_t begin = mark + 3;
    const std::size_t end = std::min(text.find_first_of(" \t\r\n/?#\"'", begin), text.size());
    const std::size_t at = text.rfind('@', end);
    if (at == std::string::npos || at < begin || at >= end) continue;
    const std::size_t colon = text.find(':', begin);
    if (colon < at) text.replace(colon + 1, at - colon - 1, "***");
  }
}

std::string withVisibleControls(const std::string& text) {
  std::string visible;
  for (const char c : text) {
    if (!isControl(c)) {
      visible += c;
    } else if (c == '\n' || c == '\r' || c == '\t') {
      visible += c == '\n' ? "\\n" : c == '\r' ? "\\r" : "\\t";
    } else {
      ascii::appendHex(visible, "\\x", c, "0123456789abcdef");
    }
  }
  return visible;
}

}  // namespace

std::string LogScrubber::scrub(const std::string& text) {
  std::string scrubbed = text;
  if (scrubbed.find('=') != std::string::npos) scrubbed = withoutSecretSettings(text);
  if (scrubbed.find("://") != std::string::npos) maskUrlPasswords(scrubbed);
  if (std::any_of(scrubbed.begin(), scrubbed.end(), isControl)) return withVisibleControls(scrubbed);
  return scrubbed;
}

}  // namespace vorn
