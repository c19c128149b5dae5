#pragma once

#include <string>

#include "vorn/export.h"

class ACE_Semaphore;

/// The escaping of literals, one object for the process.
///
/// The object is created when the library is loaded and lives until the process exits. Everything here may be
/// called from any thread at any time, load-time code of other source files included.
///
/// The results stand between single quotes, which the caller writes:
/// @code
///   CSQLiteUtil* util = CSQLiteUtil::getInstance();
///   CVORNCriterion named("(alarm.name='" + util->replaceSpecialChar(name) + "')");
/// @endcode
class VORN_API CSQLiteUtil {
 public:
  /// @return the one object; never null, never to be deleted
  static CSQLiteUtil* getInstance();

  /// @return the text with every single quote doubled
  std::string replaceSpecialChar(const std::string& text);

  /// @return two single quotes for a single quote, else the character alone, a zero byte included
  std::string replaceSpecialChar(const char& c);

 private:
  CSQLiteUtil() = default;
  static CSQLiteUtil* publish();

  static CSQLiteUtil* m_instance;
  static ACE_Semaphore m_instanceMutex;  ///< guards the creation
};
