#include "exec/field_conversion.h"

#include <cstdlib>
#include <istream>
#include <locale>
#include <streambuf>

#include "common/c_locale.h"
#include "statement/keywords.h"

namespace vorn {

namespace {

/// Reads a text where it is: a string stream would copy it, and allocate for that.
class TextSource : public std::streambuf {
 public:
  explicit TextSource(std::string_view text) {
    char* const first = const_cast<char*>(text.data());
    setg(first, first, first + text.size());
  }
};

template <typename Target>
void extractFormatted(std::string_view text, Target& target) {
  TextSource source(text);
  std::istream stream(&source);
  stream.imbue(std::locale::classic());
  stream >> target;
}

template <typename Target>
void extractWithBooleanWords(std::string_view text, Target& target) {
  if (text == keyword::kFalseUpper || text == keyword::kFalseLower) {
    target = 0;
  } else if (text == keyword::kTrueUpper || text == keyword::kTrueLower) {
    target = 1;
  } else {
    extractFormatted(text, target);
  }
}

constexpr int kDecimal = 10;

}  // namespace

void convertText(std::string_view text, char& target) {
  target = text.front();
}
void convertText(std::string_view text, short& target) {
  extractFormatted(text, target);
}
void convertText(std::string_view text, int& target) {
  extractWithBooleanWords(text, target);
}
void convertText(std::string_view text, unsigned int& target) {
  extractWithBooleanWords(text, target);
}
void convertText(std::string_view text, unsigned short& target) {
  extractFormatted(text, target);
}

void convertText(std::string_view text, unsigned long& target) {
  target = strtoul_l(text.data(), nullptr, kDecimal, cLocale());
}

void convertText(std::string_view text, long& target) {
  target = strtol_l(text.data(), nullptr, kDecimal, cLocale());
}

void convertText(std::string_view text, float& target) {
  target = static_cast<float>(strtod_l(text.data(), nullptr, cLocale()));
}

void convertText(std::string_view text, double& target) {
  target = strtod_l(text.data(), nullptr, cLocale());
}

}  // namespace vorn
