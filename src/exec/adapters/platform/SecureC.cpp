#include <locale.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "common/c_locale.h"
#include "vorn/platform/secure_c.h"

namespace vorn {

namespace {

// Makes "C" the calling thread's locale for one scope.
class CLocaleScope {
 public:
  CLocaleScope() : m_previous(uselocale(cLocale())) {}
  ~CLocaleScope() { uselocale(m_previous); }
  CLocaleScope(const CLocaleScope&) = delete;
  CLocaleScope& operator=(const CLocaleScope&) = delete;

 private:
  locale_t m_previous;
};

// The text of one conversion, formatted outside the destination so that truncation is seen before writing.
struct NumberText {
  char bytes[64];
  std::size_t size = 0;

  template <typename... Arguments>
  bool set(Arguments... arguments) {
    const auto [end, error] = std::to_chars(bytes, bytes + sizeof bytes, arguments...);
    size = static_cast<std::size_t>(end - bytes);
    return error == std::errc();
  }
};

// Formats the value of the plain conversions that make up all rendered SQL: %d %u %ld %lu %f. They need no
// locale switch and no format interpreter. Returns false for everything else, the argument untouched.
bool formatPlainConversion(const char*& conversion, va_list arguments, NumberText& text) {
  const bool isLong = conversion[1] == 'l';
  const char letter = conversion[isLong ? 2 : 1];
  bool formatted = false;
  if (letter == 'd') {
    formatted = isLong ? text.set(va_arg(arguments, long)) : text.set(va_arg(arguments, int));
  } else if (letter == 'u') {
    formatted =
        isLong ? text.set(va_arg(arguments, unsigned long)) : text.set(va_arg(arguments, unsigned int));
  } else if (letter == 'f' && !isLong) {
    const double value = va_arg(arguments, double);
    // Above this the text may not fit NumberText; infinities and NaN have spellings of their own.
    formatted = std::fabs(value) < 1e40 && text.set(value, std::chars_format::fixed, 6);
  }
  if (formatted) conversion += isLong ? 3 : 2;
  return formatted;
}

// Formats a text with exactly one plain conversion and no other percent sign.
int formatFast(char* destination, std::size_t maximumCount, const char* format, va_list arguments) {
  // The formats are a few bytes long: plain loops beat the library's searches.
  std::size_t before = 0;
  for (; format[before] != '%'; ++before) {
    if (format[before] == '\0') return -1;
  }
  const char* conversion = format + before;
  NumberText text;
  if (!formatPlainConversion(conversion, arguments, text)) return -1;
  std::size_t after = 0;
  for (; conversion[after] != '\0'; ++after) {
    if (conversion[after] == '%') return -1;
  }
  if (before + text.size + after > maximumCount) return -1;
  std::memcpy(destination, format, before);
  std::memcpy(destination + before, text.bytes, text.size);
  std::memcpy(destination + before + text.size, conversion, after + 1);
  return static_cast<int>(before + text.size + after);
}

int formatBounded(char* destination, std::size_t maximumCount, const char* format, va_list arguments) {
  const CLocaleScope scope;
  const int needed = std::vsnprintf(destination, maximumCount + 1, format, arguments);
  if (needed < 0) destination[0] = '\0';
  return needed < 0 || static_cast<std::size_t>(needed) > maximumCount ? -1 : needed;
}

}  // namespace

int snprintf_s(char* destination, std::size_t destinationSize, std::size_t maximumCount, const char* format,
               ...) {
  if (destination == nullptr || destinationSize == 0) return -1;
  destination[0] = '\0';
  if (format == nullptr || maximumCount >= destinationSize) return -1;

  va_list arguments;
  va_start(arguments, format);
  int written = formatFast(destination, maximumCount, format, arguments);
  va_end(arguments);
  if (written < 0) {
    va_start(arguments, format);
    written = formatBounded(destination, maximumCount, format, arguments);
    va_end(arguments);
  }
  return written;
}

int memcpy_s(void* destination, std::size_t destinationSize, const void* source, std::size_t count) {
  if (destination == nullptr) return EINVAL;
  if (source == nullptr || count > destinationSize) {
    std::memset(destination, 0, destinationSize);
    return source == nullptr ? EINVAL : ERANGE;
  }
  std::memcpy(destination, source, count);
  return 0;
}

int memset_s(void* destination, std::size_t destinationSize, int value, std::size_t count) {
  if (destination == nullptr) return EINVAL;
  std::memset(destination, value, std::min(count, destinationSize));
  return count > destinationSize ? ERANGE : 0;
}

}  // namespace vorn
