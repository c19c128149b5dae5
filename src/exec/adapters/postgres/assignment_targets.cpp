#include "exec/adapters/postgres/assignment_targets.h"

#include <cstdlib>
#include <string_view>

#include "common/ascii.h"
#include "exec/adapters/postgres/PostgresDialect.h"
#include "exec/adapters/sql/SqlScanner.h"

namespace vorn {

namespace {

/// Goes through a statement in pieces: a quoted name, a word, or a single sign.
class Pieces {
 public:
  explicit Pieces(const std::string& statement)
      : m_statement(statement), m_scanner(statement, kPostgresDialect) {}

  bool next() {
    while (m_end < m_statement.size() && ascii::isBlank(m_statement[m_end])) ++m_end;
    m_begin = m_end;
    if (m_begin == m_statement.size()) return false;
    m_end = m_scanner.opaqueEnd(m_begin);
    if (m_end > m_begin) return true;
    while (m_end < m_statement.size() && ascii::isIdentifierByte(m_statement[m_end])) ++m_end;
    if (m_end == m_begin) ++m_end;
    return true;
  }

  std::size_t begin() const { return m_begin; }
  std::size_t end() const { return m_end; }
  bool isName() const { return is('"') || ascii::isIdentifierByte(m_statement[m_begin]); }
  bool is(char sign) const { return m_statement[m_begin] == sign; }

  bool is(std::string_view word) const {
    if (m_end - m_begin != word.size()) return false;
    for (std::size_t at = 0; at < word.size(); ++at) {
      if (ascii::lowerCase(m_statement[m_begin + at]) != word[at]) return false;
    }
    return true;
  }

 private:
  const std::string& m_statement;
  const SqlScanner m_scanner;
  std::size_t m_begin = 0;
  std::size_t m_end = 0;
};

// insert into TABLE (COLUMNS) values ($1,…), or without columns
AssignmentTargets targetsOfInsert(const std::string& statement, Pieces& pieces) {
  pieces.next();
  const std::size_t table = pieces.end();  // after "into"
  std::size_t tableEnd = table;
  std::string columns = "*";
  while (pieces.next() && !pieces.is("values")) {
    if (!pieces.is('(')) {
      tableEnd = pieces.end();
      continue;
    }
    const std::size_t list = pieces.end();
    while (!pieces.is(')') && pieces.next()) {
    }
    columns = statement.substr(list, pieces.begin() - list);
  }
  AssignmentTargets targets{"select " + columns + " from" + statement.substr(table, tableEnd - table), {}};
  while (pieces.next()) {
    if (pieces.is('$')) targets.parameters.push_back(static_cast<int>(targets.parameters.size()));
  }
  return targets;
}

// update TABLE set COLUMN=$1,COLUMN=OPERAND,… where …
AssignmentTargets targetsOfUpdate(const std::string& statement, Pieces& pieces) {
  const std::size_t table = pieces.end();
  while (pieces.next() && !pieces.is("set")) {
  }
  const std::size_t tableEnd = pieces.begin();
  AssignmentTargets targets;
  std::size_t column = pieces.end();
  for (int depth = 0, parameter = 0; pieces.next() && !pieces.is("where");) {
    if (pieces.is('(')) ++depth;
    if (pieces.is(')')) --depth;
    if (pieces.is(',') && depth == 0) column = pieces.end();
    if (!pieces.is('=')) continue;
    const std::size_t columnEnd = pieces.begin();
    if (!pieces.next() || !pieces.is('$')) continue;
    targets.select += targets.select.empty() ? "select " : ",";
    targets.select.append(statement, column, columnEnd - column);
    targets.parameters.push_back(parameter++);
  }
  if (!targets.select.empty()) targets.select.append(" from").append(statement, table, tableEnd - table);
  return targets;
}

}  // namespace

AssignmentTargets assignmentTargets(const std::string& statement) {
  Pieces pieces(statement);
  pieces.next();
  if (pieces.is("insert")) return targetsOfInsert(statement, pieces);
  if (pieces.is("update")) return targetsOfUpdate(statement, pieces);
  return {};
}

std::string writtenTable(const std::string& statement) {
  Pieces pieces(statement);
  if (!pieces.next()) return {};
  if (!pieces.is("update") && !pieces.next()) return {};  // into, from
  bool more = pieces.next();
  if (more && pieces.is("only")) more = pieces.next();
  for (std::string table; more && pieces.isName(); table += '.') {
    table.append(statement, pieces.begin(), pieces.end() - pieces.begin());
    more = pieces.next();
    if (!more || !pieces.is('.')) return table;
    more = pieces.next();
  }
  return {};
}

}  // namespace vorn
