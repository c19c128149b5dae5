#pragma once

#include <cstddef>
#include <string>

#include "exec/adapters/sql/SqlDialect.h"
#include "exec/adapters/sql/SqlScanner.h"

namespace vorn {

/// Stands for a value in a masked text.
inline constexpr char kMaskedValue = '\6';

/// Writes a text with everything masked that may be a value, whatever the text is. A long one is cut off.
class ValueMask {
 public:
  static constexpr std::size_t kLongest = 4096;

  /// @param target  where the masked text is appended
  ValueMask(const std::string& sql, const SqlDialect& dialect, std::string& target)
      : m_sql(sql),
        m_dialect(dialect),
        m_scanner(sql, dialect),
        m_at(sql.data()),
        m_begin(m_at),
        m_end(m_at + sql.size()),
        m_text(target) {}

  void append();

 private:
  bool appendOpaque();
  bool appendPlain();
  bool isPlainVariable() const;

  const std::string& m_sql;
  const SqlDialect& m_dialect;
  const SqlScanner m_scanner;
  const char* m_at;     ///< after the part
  const char* m_begin;  ///< of the part
  const char* m_end;
  std::string& m_text;
};

}  // namespace vorn
