#include "template_store/ScriptedEngine.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <string_view>

namespace scripted {

/// Reads a statement word by word.
class Parser {
 public:
  explicit Parser(std::string_view text) : m_rest(text) { advance(); }

  /// @return whether the text is a statement, which is then in `statement`
  bool read(Statement& statement) {
    using Verb = Statement::Verb;
    if (take("values")) return readRows(statement, Verb::Values);
    if (take("insert")) {
      return take("into") && readName(statement) && skipColumns() && take("values") &&
             readRows(statement, Verb::Insert);
    }
    if (take("select")) return take("*") && take("from") && finishNamed(statement, Verb::Select);
    if (take("count")) return take("to") && finishNumbered(statement, Verb::Count);
    if (take("set")) return finishNumbered(statement, Verb::Set);
    if (take("raise")) return finishNumbered(statement, Verb::Raise);
    if (take("savepoint")) return finishNamed(statement, Verb::Savepoint);
    if (take("release")) return take("savepoint") && finishNamed(statement, Verb::Release);
    if (take("rollback")) {
      return take("to") ? take("savepoint") && finishNamed(statement, Verb::RollbackTo)
                        : finish(statement, Verb::Rollback);
    }
    if (take("begin")) return finish(statement, Verb::Begin);
    if (take("commit")) return finish(statement, Verb::Commit);
    if (take("show")) return finish(statement, Verb::Show);
    return take("hangup") && finish(statement, Verb::Hangup);
  }

 private:
  bool take(std::string_view word) {
    if (m_word != word) return false;
    advance();
    return true;
  }

  bool atEnd() const { return m_word.empty() || m_word == ";"; }

  void advance() {
    m_rest.remove_prefix(std::min(m_rest.find_first_not_of(" \t\r\n"), m_rest.size()));
    std::size_t size = m_rest.empty() ? 0 : 1;
    if (!m_rest.empty() && m_rest[0] == '\'') {
      const std::size_t close = m_rest.find('\'', 1);
      size = close == std::string_view::npos ? m_rest.size() : close + 1;
    } else if (!m_rest.empty() && std::strchr("(),;*", m_rest[0]) == nullptr) {
      size = std::min(m_rest.find_first_of(" \t\r\n(),;'"), m_rest.size());
    }
    m_word = m_rest.substr(0, size);
    m_rest.remove_prefix(size);
  }

  bool finish(Statement& statement, Statement::Verb verb) {
    statement.m_verb = verb;
    return atEnd();
  }

  bool readName(Statement& statement) {
    statement.m_name = m_word;
    advance();
    return !statement.m_name.empty();
  }

  bool finishNamed(Statement& statement, Statement::Verb verb) {
    return readName(statement) && finish(statement, verb);
  }

  bool finishNumbered(Statement& statement, Statement::Verb verb) {
    return readWhole(m_word, statement.m_number) && finish(statement, verb);
  }

  bool skipColumns() {
    if (m_word == "(") {
      while (!atEnd() && m_word != ")") advance();
      return take(")");
    }
    return true;
  }

  bool readRows(Statement& statement, Statement::Verb verb) {
    do {
      auto& fields = statement.m_fields.emplace_back();
      if (!take("(")) return false;
      do {
        if (!readField(statement, fields.emplace_back())) return false;
      } while (take(","));
      if (!take(")")) return false;
    } while (take(","));
    return finish(statement, verb);
  }

  bool readField(Statement& statement, Statement::Field& field) {
    if (take("null")) return true;
    if (take("raise")) return readWhole(m_word, field.raised);
    std::int64_t integer = 0;
    double real = 0;
    if (m_word.size() > 1 && m_word.front() == '\'' && m_word.back() == '\'') {
      field.value = std::string(m_word.substr(1, m_word.size() - 2));
    } else if (m_word.substr(0, 1) == "?" && parse(m_word.substr(1), integer) && integer > 0) {
      field.parameter = static_cast<std::size_t>(integer);
      if (statement.m_parameters.size() < field.parameter) statement.m_parameters.resize(field.parameter);
    } else if (parse(m_word, integer)) {
      field.value = integer;
    } else if (parse(m_word, real)) {
      field.value = real;
    } else {
      return false;
    }
    advance();
    return true;
  }

  bool readWhole(std::string_view word, std::int64_t& number) {
    if (!parse(word, number)) return false;
    advance();
    return true;
  }

  static bool parse(std::string_view word, auto& number) {
    const char* const end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number);
    return error == std::errc() && stop == end;
  }

  std::string_view m_rest;
  std::string_view m_word;  ///< the next one; empty at the end of the text
};

Statement::~Statement() {
  reset();
}

void Statement::bind(std::size_t number, Value value) {
  m_parameters.at(number - 1) = std::move(value);
}

void Statement::reset() noexcept {
  m_at = 0;
  m_found.clear();
  if (m_session.m_active == this) m_session.m_active = nullptr;
}

Code Statement::step(Row& row) {
  if (m_session.m_hungUp) return m_session.fail(Code::HungUp, "the session has ended");
  if (m_session.m_active != nullptr && m_session.m_active != this) {
    return m_session.fail(Code::Misuse, "another statement of the session is active");
  }
  m_session.m_active = this;
  const Code code = m_session.run(*this, row);
  if (code != Code::Row) m_session.m_active = nullptr;
  return code;
}

Code Session::prepare(const std::string& sql, std::unique_ptr<Statement>& statement) {
  auto parsed = std::make_unique<Statement>(*this);
  if (!Parser(sql).read(*parsed)) return fail(Code::Syntax, "the statement cannot be read");
  statement = std::move(parsed);
  return Code::Ok;
}

Code Session::fail(Code code, const char* message) noexcept {
  m_message = message;
  return code;
}

Code Session::run(Statement& statement, Row& row) {
  using Verb = Statement::Verb;
  const std::size_t at = statement.m_at++;
  switch (statement.m_verb) {
    case Verb::Values:
      return nextOfFields(statement, at, row);
    case Verb::Count:
      if (static_cast<std::int64_t>(at) >= statement.m_number) return Code::Done;
      row.assign(1, static_cast<std::int64_t>(at) + 1);
      return Code::Row;
    case Verb::Select:
      return select(statement, row);
    case Verb::Show:
      row.assign(1, m_setting);
      return at == 0 ? Code::Row : Code::Done;
    case Verb::Insert:
      return insert(statement);
    default:
      return control(statement);
  }
}

Code Session::control(const Statement& statement) {
  switch (statement.m_verb) {
    case Statement::Verb::Begin:
      return begin();
    case Statement::Verb::Set:
      m_setting = statement.m_number;
      return Code::Done;
    case Statement::Verb::Raise:
      return fail(static_cast<Code>(statement.m_number), "raised by the statement");
    case Statement::Verb::Hangup:
      m_hungUp = true;
      endTransaction();
      return fail(Code::HungUp, "the session has ended");
    default:
      break;
  }
  if (!m_inTransaction) return fail(Code::Misuse, "no transaction is open");
  if (statement.m_verb == Statement::Verb::Savepoint) {
    m_savepoints.emplace_back(statement.m_name, m_working);
  } else if (statement.m_verb == Statement::Verb::Commit || statement.m_verb == Statement::Verb::Rollback) {
    if (statement.m_verb == Statement::Verb::Commit) {
      const std::lock_guard lock(m_database->mutex);
      m_database->tables.swap(m_working);
    }
    endTransaction();
  } else {
    return toSavepoint(statement);
  }
  return Code::Done;
}

Code Session::begin() {
  if (m_inTransaction) return fail(Code::Misuse, "a transaction is open");
  const std::lock_guard lock(m_database->mutex);
  if (m_database->writer != nullptr) return fail(Code::Busy, "another session writes");
  m_working = m_database->tables;
  m_database->writer = this;
  m_inTransaction = true;
  return Code::Done;
}

Code Session::toSavepoint(const Statement& statement) {
  const auto found = std::find_if(m_savepoints.rbegin(), m_savepoints.rend(),
                                  [&](const auto& savepoint) { return savepoint.first == statement.m_name; });
  if (found == m_savepoints.rend()) return fail(Code::Misuse, "there is no such savepoint");
  const bool releases = statement.m_verb == Statement::Verb::Release;
  if (!releases) m_working = found->second;
  m_savepoints.erase(releases ? found.base() - 1 : found.base(), m_savepoints.end());
  return Code::Done;
}

void Session::endTransaction() noexcept {
  if (!m_inTransaction) return;
  const std::lock_guard lock(m_database->mutex);
  m_database->writer = nullptr;
  m_working.clear();
  m_savepoints.clear();
  m_inTransaction = false;
}

Code Session::select(Statement& statement, Row& row) {
  if (statement.m_at == 1) {
    const std::lock_guard lock(m_database->mutex);
    const Tables& tables = m_inTransaction ? m_working : m_database->tables;
    const auto table = tables.find(statement.m_name);
    if (table == tables.end()) return fail(Code::NoSuchTable, "there is no such table");
    statement.m_found = table->second;
  }
  if (statement.m_at > statement.m_found.size()) return Code::Done;
  row = statement.m_found[statement.m_at - 1];
  return Code::Row;
}

Code Session::nextOfFields(const Statement& statement, std::size_t at, Row& row) {
  if (at >= statement.m_fields.size()) return Code::Done;
  row.clear();
  for (const Statement::Field& field : statement.m_fields[at]) {
    if (field.raised != 0) return fail(static_cast<Code>(field.raised), "raised by a value");
    row.push_back(field.parameter == 0 ? field.value : statement.m_parameters[field.parameter - 1]);
  }
  return Code::Row;
}

Code Session::insert(const Statement& statement) {
  if (m_readOnly) return fail(Code::ReadOnly, "the session may only read");
  const std::lock_guard lock(m_database->mutex);
  if (m_database->writer != nullptr && m_database->writer != this) {
    return fail(Code::Busy, "another session writes");
  }
  std::vector<Row>& rows = (m_inTransaction ? m_working : m_database->tables)[statement.m_name];
  const std::size_t before = rows.size();
  const Code code = append(statement, rows);
  if (code == Code::Done) {
    m_changes += rows.size() - before;
  } else {
    rows.resize(before);
  }
  return code;
}

Code Session::append(const Statement& statement, std::vector<Row>& rows) {
  Row row;
  for (std::size_t at = 0;; ++at) {
    const Code code = nextOfFields(statement, at, row);
    if (code != Code::Row) return code;
    if (std::any_of(rows.begin(), rows.end(), [&row](const Row& other) { return other[0] == row[0]; })) {
      return fail(Code::Duplicate, "the table has a row with the same first value");
    }
    rows.push_back(row);
  }
}

}  // namespace scripted
