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

// Writes as std::to_chars() does, and leaves `at` after the text.
template <typename... Arguments>
bool write(char*& at, char* end, Arguments... arguments) {
  const auto [after, error] = std::to_chars(at, end, arguments...);
  at = after;
  return error == std::errc();
}

// Writes the value of the plain conversions that make up all rendered SQL: %d %u %ld %lu %f. They need no
// locale switch and no format interpreter. Returns false for everything else, and where there is no room.
bool writePlainConversion(char*& at, char* end, const char*& conversion, va_list arguments) {
  const bool isLong = conversion[1] == 'l';
  const char letter = conversion[isLong ? 2 : 1];
  conversion += isLong ? 3 : 2;
  if (letter == 'd') {
    return isLong ? write(at, end, va_arg(arguments, long)) : write(at, end, va_arg(arguments, int));
  }
  if (letter == 'u') {
    return isLong ? write(at, end, va_arg(arguments, unsigned long))
                  : write(at, end, va_arg(arguments, unsigned int));
  }
  if (letter != 'f' || isLong) return false;
  const double value = va_arg(arguments, double);
  // Infinities and NaN have spellings of their own.
  return std::fabs(value) < 1e40 && write(at, end, value, std::chars_format::fixed, 6);
}

// Formats a text with exactly one plain conversion and no other percent sign. Returns -1 for everything else,
// and where the text does not fit; what it has written is then of no meaning.
int formatFast(char* destination, std::size_t maximumCount, const char* format, va_list arguments) {
  char* at = destination;
  char* const end = destination + maximumCount;
  // The formats are a few bytes long: plain loops beat the library's searches.
  for (; *format != '%'; *at++ = *format++) {
    if (*format == '\0' || at == end) return -1;
  }
  if (!writePlainConversion(at, end, format, arguments)) return -1;
  for (; *format != '\0'; *at++ = *format++) {
    if (*format == '%' || at == end) return -1;
  }
  *at = '\0';
  return static_cast<int>(at - destination);
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
