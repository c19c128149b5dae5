#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vorn/export.h"
#include "vorn/platform/row_value.h"
#include "vorn/statement.h"

namespace vorn {
class DataSession;
}

/// A stream over the rows of one query, filled by CVORN::execReadSQL().
///
/// Fields are taken left to right; a CVORNNull before a field tells whether it was empty:
/// @code
///   CVORNReader reader;
///   if (db->execReadSQL(selector, reader) != 0) return;
///   while (reader.hasNextElement()) {
///     long id = 0;
///     CVORNNull noName;
///     std::string name;
///     reader >> id >> noName >> name;
///   }
/// @endcode
/// The first extraction after execReadSQL() fetches the first row by itself where hasNextElement() was not
/// called. A row may be left before its last field.
///
/// No extraction reports an error. A field that is empty, NULL or behind the end of the row leaves a number
/// untouched and empties a string. A text that is no number gives what its conversion gives for it, see the
/// operators. hasNextElement() is false at the end of the result and after a failed fetch alike; the outcome
/// of the fetch is in vorn::lastResult(). No conversion depends on a locale.
///
/// Owns its session until clear() or destruction, and must be cleared before it serves a second query: until
/// then a second query runs on the first one's session, and the old row stays until the next
/// hasNextElement(). One thread at a time, the one that executed the query.
class VORN_API CVORNReader {
 public:
  CVORNReader() = default;
  virtual ~CVORNReader();
  CVORNReader(const CVORNReader&) = delete;
  CVORNReader& operator=(const CVORNReader&) = delete;

  /// The same as hasNextElement().
  virtual bool operator()();

  /// Takes the first byte of the field.
  virtual CVORNReader& operator>>(char& value);

  /// Takes the field as formatted stream input does in the classic locale: blanks in front are skipped,
  /// what follows the number is ignored, a number out of range gives the nearest limit, no number gives 0,
  /// and a field of nothing but blanks leaves `value` untouched.
  virtual CVORNReader& operator>>(short& value);

  /// As for short; also knows the boolean words `TRUE`, `true`, `FALSE` and `false`, which only this
  /// operator and that for unsigned int do.
  virtual CVORNReader& operator>>(int& value);

  /// As for int. A negative number whose magnitude fits wraps around.
  virtual CVORNReader& operator>>(unsigned int& value);

  /// As for short. A negative number whose magnitude fits wraps around.
  virtual CVORNReader& operator>>(unsigned short& value);

  /// Takes the field as strtoul() does, base 10: like strtol(), and a negative number wraps around.
  virtual CVORNReader& operator>>(unsigned long& value);

  /// Takes the field as strtol() does, base 10: a number out of range gives the nearest limit, no number 0.
  virtual CVORNReader& operator>>(long& value);

  /// Takes the field as strtod() does, then narrows it.
  virtual CVORNReader& operator>>(float& value);

  /// Takes the field as strtod() does; no number gives 0.
  virtual CVORNReader& operator>>(double& value);

  /// Takes the field's bytes. A single blank, which the stores write for an empty text, counts as empty.
  virtual CVORNReader& operator>>(std::string& value);

  /// Fetches the next row and goes to its first field.
  /// @return false when there is none, when fetching failed, and when no query was run; the last row then
  ///         stays as it is
  virtual bool hasNextElement();

  /// Closes the session and forgets the row, ready for another query.
  virtual void clear() noexcept;

  /// Opens a session of the named store for this reader, or keeps the one it has, whatever its name.
  /// Called by CVORN::execReadSQL().
  /// @return the session, owned by the reader; null when there is no memory for one
  vorn::DataSession* initializeSession(const std::string& sessionName);

  /// @return the next field as text, empty where there is none; a CVORNNull that waits goes on waiting
  std::string getNextField();

  /// Makes `marker` watch the next field: it becomes true when that field is empty. A marker whose field is
  /// not empty keeps the value it had, so use a fresh one for each field. It must live until that field is
  /// taken, or taking it has thrown.
  CVORNReader& operator>>(CVORNNull& marker);

 private:
  bool fetchFirstRow();
  vorn::RowValue* nextValue();
  template <typename Target>
  CVORNReader& extract(Target& value);

  vorn::DataSession* m_session = nullptr;
  std::vector<vorn::RowValue> m_row;
  std::uint32_t m_fieldIndex = 0;
  bool m_fetched = false;
  bool* m_nullFlag = nullptr;
};
