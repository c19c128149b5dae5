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
/// Fields are taken from left to right. A CVORNNull before a field says whether that field was empty. A field
/// that is empty, is NULL, or lies after the end of the row leaves a number as it was and empties a string. A
/// row may be left before its last field. No conversion depends on a locale.
///
/// The reader owns its session until clear() or destruction. A session with a reader keeps a connection to
/// the store, so clear a reader that is not needed any more.
/// @code
///   CVORNSelector selector;
///   selector.table("alarm");
///   selector.select("id");
///   selector.select("name");
///   CVORNReader reader;
///   if (db->execReadSQL(selector, reader) != 0) return;
///   while (reader.hasNextElement()) {
///     long id = 0;
///     CVORNNull noName;
///     std::string name;
///     reader >> id >> noName >> name;
///     std::cout << id << ' ' << (noName ? "(none)" : name) << '\n';
///   }
/// @endcode
///
/// Threads: one thread, the one that executed the query.
///
/// Errors: no extraction reports an error. A text that is not a number gives what the conversion of the
/// operator gives for it. hasNextElement() is false both at the end of the result and after a failed fetch;
/// vorn::lastResult() has the outcome of the fetch. Only allocations throw.
///
/// Requires: the reader is cleared before it serves a second query. Otherwise that query runs on the session
/// of the first one, whatever its session name, and the old row stays until hasNextElement() is called.
class VORN_API CVORNReader {
 public:
  CVORNReader() = default;
  virtual ~CVORNReader();
  CVORNReader(const CVORNReader&) = delete;
  CVORNReader& operator=(const CVORNReader&) = delete;

  /// Does the same as hasNextElement().
  virtual bool operator()();

  /// Takes the first byte of the field.
  ///
  /// Where hasNextElement() was not called since the query was executed, the first extraction fetches the
  /// first row by itself. This holds for every operator and for getNextField().
  virtual CVORNReader& operator>>(char& value);

  /// Takes the field as formatted stream input does in the classic locale. Blanks before the number are
  /// skipped, what follows the number is ignored, a number out of range gives the nearest limit, a text that
  /// is not a number gives 0, and a field of nothing but blanks leaves `value` as it was.
  virtual CVORNReader& operator>>(short& value);

  /// Takes the field as the operator for short does. This operator and the one for unsigned int also know the
  /// words `TRUE`, `true`, `FALSE` and `false`.
  virtual CVORNReader& operator>>(int& value);

  /// Takes the field as the operator for int does. A negative number whose magnitude fits wraps around.
  virtual CVORNReader& operator>>(unsigned int& value);

  /// Takes the field as the operator for short does. A negative number whose magnitude fits wraps around.
  virtual CVORNReader& operator>>(unsigned short& value);

  /// Takes the field as strtoul() does with base 10. A number out of range gives the highest value, a text
  /// that is not a number gives 0, and a negative number wraps around.
  virtual CVORNReader& operator>>(unsigned long& value);

  /// Takes the field as strtol() does with base 10. A number out of range gives the nearest limit, and a text
  /// that is not a number gives 0.
  virtual CVORNReader& operator>>(long& value);

  /// Takes the field as the operator for double does, then narrows the number.
  virtual CVORNReader& operator>>(float& value);

  /// Takes the field as strtod() does. A text that is not a number gives 0.
  virtual CVORNReader& operator>>(double& value);

  /// Takes the bytes of the field. A single blank, which the stores write for an empty text, counts as empty.
  virtual CVORNReader& operator>>(std::string& value);

  /// Fetches the next row and goes to its first field.
  /// @return false when there is no further row, when fetching failed, and when no query was executed. The
  ///         row before then stays as it is.
  virtual bool hasNextElement();

  /// Closes the session and forgets the row. The reader is then ready for another query.
  virtual void clear() noexcept;

  /// Opens a session for this reader, or keeps the session that the reader has, whatever its session name.
  /// CVORN::execReadSQL() calls this.
  /// @return the session, which the reader owns; null when there is no memory for one
  vorn::DataSession* initializeSession(const std::string& sessionName);

  /// Takes the next field as text. A marker that was given for this field is not set by this call; it goes on
  /// to wait for the next operator.
  /// @return the text of the field; empty for a field that is empty or NULL, after the last field of the row,
  ///         and where there is no row
  std::string getNextField();

  /// Makes `marker` true if the next field is empty. If the field is not empty the marker keeps its value, so
  /// use a fresh marker for each field.
  ///
  /// Requires: the marker lives until an operator has taken the field, or has thrown.
  CVORNReader& operator>>(CVORNNull& marker);

 private:
  bool fetchFirstRow();
  vorn::RowValue* nextValue();
  template <typename Target>
  CVORNReader& extract(Target& value);
  template <typename Target>
  CVORNReader& extractOther(Target& value);

  vorn::DataSession* m_session = nullptr;
  std::vector<vorn::RowValue> m_row;
  std::uint32_t m_fieldIndex = 0;
  bool m_fetched = false;
  bool* m_nullFlag = nullptr;
};
