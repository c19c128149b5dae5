#pragma once

#include <mysql.h>

#include <cstdint>
#include <string_view>
#include <vector>

#include "exec/adapters/sql/StatementShape.h"

namespace vorn {

/// The literals of a text as the parameters of a prepared statement, each of the type that the server gives the
/// literal: an integer, an exact number, a text of the connection's character set, or NULL.
///
/// Invariant: what is bound stays as long as the text of the shape, and until the next bind().
class MariaDbParameters {
 public:
  /// @return whether a parameter means what the literal means, for all of them; otherwise the text has to run as it is
  bool bind(const StatementShape& shape);

  unsigned count() const noexcept { return static_cast<unsigned>(m_binds.size()); }
  MYSQL_BIND* binds() noexcept { return m_binds.data(); }

 private:
  bool bindOne(const StatementShape::Literal& literal, std::size_t at);

  std::vector<MYSQL_BIND> m_binds;
};

}  // namespace vorn
