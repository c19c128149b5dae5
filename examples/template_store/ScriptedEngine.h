#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <variant>
#include <vector>

/// Stands in for a store's client library, so that the template runs: tables in memory, one writer at a time,
/// one active statement a session. Nothing of it belongs into a real store.
///
/// It understands `values ROWS`, `count to N`, `select * from T`, `insert into T (…) values ROWS`, `begin`,
/// `commit`, `rollback`, `savepoint S`, `rollback to savepoint S`, `release savepoint S`, `set N` and `show`
/// (a setting of the session), `raise N` (fails with that code, in place of a value too) and `hangup` (ends
/// the session). It stops reading at a semicolon. The first value of a row is unique in its table.
namespace scripted {

/// What a call comes to. Other numbers come from `raise`.
enum class Code : std::uint32_t {
  Ok = 0,
  Syntax = 1,
  NoSuchTable = 2,
  Busy = 3,
  Duplicate = 4,
  ReadOnly = 5,
  Misuse = 6,
  HungUp = 7,
  Row = 100,
  Done = 101
};

using Value = std::variant<std::monostate, std::int64_t, double, std::string>;
using Row = std::vector<Value>;
using Tables = std::map<std::string, std::vector<Row>>;

class Session;

/// The tables that sessions share. Any thread may use it.
struct Database {
  std::mutex mutex;
  Tables tables;
  const Session* writer = nullptr;  ///< the session whose transaction is open
};

/// A statement in parts. It belongs to its session, which must outlive it.
class Statement {
 public:
  explicit Statement(Session& session) : m_session(session) {}
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  /// @param number  of the parameter `?1`, `?2` …
  void bind(std::size_t number, Value value);

  /// Runs the statement up to its next row.
  /// @return Row, Done, or why it failed
  Code step(Row& row);

  /// Makes it ready for its next run, wherever it stands. Bound values stay.
  void reset() noexcept;

  bool changesSession() const noexcept { return m_verb == Verb::Set; }

 private:
  friend class Session;
  friend class Parser;

  enum class Verb {
    Values,
    Count,
    Select,
    Insert,
    Begin,
    Commit,
    Rollback,
    Savepoint,
    RollbackTo,
    Release,
    Set,
    Show,
    Raise,
    Hangup
  };

  struct Field {
    Value value;
    std::size_t parameter = 0;  ///< its number, or 0
    std::int64_t raised = 0;    ///< the code of a `raise`, or 0
  };

  Session& m_session;
  Verb m_verb = Verb::Values;
  std::string m_name;
  std::int64_t m_number = 0;
  std::vector<std::vector<Field>> m_fields;
  std::vector<Value> m_parameters;
  std::vector<Row> m_found;  ///< of a select
  std::size_t m_at = 0;
};

/// One connection. Used by one thread at a time; what its transaction has not committed goes with it.
class Session {
 public:
  Session(std::shared_ptr<Database> database, bool readOnly)
      : m_database(std::move(database)), m_readOnly(readOnly) {}
  ~Session() { endTransaction(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  Code prepare(const std::string& sql, std::unique_ptr<Statement>& statement);

  bool hungUp() const noexcept { return m_hungUp; }
  bool inTransaction() const noexcept { return m_inTransaction; }

  /// @return the number of rows written so far
  std::uint64_t changes() const noexcept { return m_changes; }

  /// @return what went wrong last
  const char* message() const noexcept { return m_message; }

 private:
  friend class Statement;

  Code fail(Code code, const char* message) noexcept;
  Code run(Statement& statement, Row& row);
  Code control(const Statement& statement);
  Code select(Statement& statement, Row& row);
  Code nextOfFields(const Statement& statement, std::size_t at, Row& row);
  Code insert(const Statement& statement);
  Code append(const Statement& statement, std::vector<Row>& rows);
  Code begin();
  Code toSavepoint(const Statement& statement);
  void endTransaction() noexcept;

  const std::shared_ptr<Database> m_database;
  const bool m_readOnly;
  const Statement* m_active = nullptr;
  const char* m_message = "";
  std::uint64_t m_changes = 0;
  std::int64_t m_setting = 0;
  bool m_hungUp = false;
  bool m_inTransaction = false;
  Tables m_working;  ///< the tables as the open transaction sees them
  std::vector<std::pair<std::string, Tables>> m_savepoints;
};

}  // namespace scripted
