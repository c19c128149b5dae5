#pragma once

#include <string>

#include "vorn/export.h"

class ACE_Semaphore;

/// The escaping of literals, by one object for the process.
///
/// The object is created when the library is loaded and lives until the process exits. The caller writes the
/// single quotes around what the object returns:
/// @code
///   CSQLiteUtil* util = CSQLiteUtil::getInstance();
///   CVORNCriterion named("(alarm.name='" + util->replaceSpecialChar(text) + "')");
///   assert(util->replaceSpecialChar("it's") == "it''s");
/// @endcode
///
/// Threads: any thread, at any time, also while static objects are initialised.
class VORN_API CSQLiteUtil {
 public:
  /// @return the object, which is never null and must not be deleted
  static CSQLiteUtil* getInstance();

  /// @return the text with every single quote doubled
  std::string replaceSpecialChar(const std::string& text);

  /// @return two single quotes for a single quote, otherwise a text of the one character, even of a zero byte
  std::string replaceSpecialChar(const char& c);

 private:
  CSQLiteUtil() = default;
  static CSQLiteUtil* publish();

  static CSQLiteUtil* m_instance;
  static ACE_Semaphore m_instanceMutex;  ///< guards the creation
};
