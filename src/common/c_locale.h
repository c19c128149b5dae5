#pragma once

#include <locale.h>

namespace vorn {

/// @return the "C" locale, made once and never freed: statements may run until the very end of the process
inline locale_t cLocale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

}  // namespace vorn
