#pragma once

#include <libpq-fe.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "exec/adapters/postgres/PostgresExecutor.h"
#include "exec/adapters/postgres/PostgresWriteEffects.h"

namespace vorn {

/// A statement that the server keeps for one connection, or that is to be kept.
struct PostgresStatement {
  /// Refused: it is not to be prepared, because it would not mean what its text means.
  enum class State : unsigned char { New, Prepared, Refused };

  struct Column {
    Oid type;
    int modifier;  ///< as PQfmod(): the length or precision of its type, or -1
  };

  std::string key;
  std::size_t hash = 0;
  std::string name;  ///< under which the server has it, or had it; empty if it never had
  State state = State::New;
  std::vector<Oid> parameters;  ///< their types, as the server has understood the statement
  std::vector<Column> columns;  ///< of the second text that was asked for when it was prepared
  std::vector<Column> targets;  ///< what each parameter is assigned to; type 0, or missing, for nothing
  bool returnsRows = false;
  bool hidden = false;            ///< whether functions run with it of which its text says nothing
  std::uint64_t generation = 0;   ///< of the statements, when it was prepared
  std::uint64_t transaction = 0;  ///< the mark of the last transaction in which it succeeded
  std::uint64_t lastUse = 0;
};

/// The prepared statements of one connection to a PostgreSQL server.
///
/// Invariants:
/// 1. At most `capacity` statements are kept; two for a capacity of one, as two may be in use at once. The one
///    used longest ago makes room, and the server drops it in the round trip that prepares the next.
/// 2. A name is given once, and never on another connection: a name means either this statement of this
///    connection, or nothing. So behind a pooler that changes servers nobody runs a statement of somebody else.
/// 3. Nothing is prepared or found while a text may have changed the session (its search path among others),
///    nor once the server has not known a statement that nothing here dropped; this holds for all connections
///    of the store.
/// 4. After a text that may have changed the schema, no statement is found prepared from before it.
/// 5. Preparing inside a transaction, be it one that has failed, leaves the transaction as it was, whatever
///    becomes of it.
/// 6. A write of which the server makes another statement is not prepared. Where functions run with a write
///    that may change what other statements stand on, nothing counts as proven after it.
/// 7. The name of a statement that made room is forgotten once the server has dropped it or does not know it,
///    not before: what fails on the way leaves nothing on the server that nobody asks to drop.
class PostgresStatements {
 public:
  /// @param allowed  shared by the connections of a store; cleared when its statements do not last
  PostgresStatements(PostgresExecutor& executor, PostgresWriteEffects& effects, std::size_t capacity,
                     std::shared_ptr<std::atomic<bool>> allowed);
  PostgresStatements(const PostgresStatements&) = delete;
  PostgresStatements& operator=(const PostgresStatements&) = delete;

  /// Looks a statement up. What is asked for once is not kept: that would cost more than it gains.
  /// @param key  the whole meaning of the statement; those of shapes begin with a letter
  /// @return the statement in whatever state it is, or null: run it some other way. It stays where it is until
  ///         the next call of find() but one.
  PostgresStatement* find(std::string_view key, std::size_t hash);

  /// Prepares a statement, in a round trip of its own; the executor is made ready for that.
  /// @param types    of its parameters; 0, or none at all, leaves it to the server
  /// @param columns  a select whose columns are wanted too, or empty
  /// @param table    to which the statement writes, or empty
  /// @return a failure when the server does not take it. It is not Prepared then.
  ExecResult prepare(PostgresStatement& statement, const std::string& text, const std::vector<Oid>& types,
                     const std::string& columns = {}, const std::string& table = {});

  /// Finds out whether a write, which is about to go as text, is plain. Asks the server only where that may
  /// spare the statements that are proven.
  /// @return a failure when it was interrupted, as the preparation of a statement may be
  ExecResult findPlain(const std::string& sql, bool& plain);

  /// @return whether a table is known to be one whose writes set off nothing hidden
  bool isPlain(const std::string& table) const {
    return m_effects.of(table) == PostgresWriteEffects::Effect::Plain;
  }

  /// @return whether the failure of a preparation is none of the statement's own: a cancel, a lock that was
  ///         waited for in vain. It is what the text would have come to; in a transaction it has failed that.
  bool wasInterrupted() const noexcept { return m_interrupted; }

  /// @return the name of a savepoint, which is this connection's own
  const std::string& savepoint();
  /// @return the statement that sets it
  const std::string& guardText();
  /// @return the name under which guardText() is prepared; empty when it is not known to be there
  const std::string& guard() const noexcept {
    return m_hasGuard && !m_executor.ranHidden() ? m_guard : m_noGuard;
  }

  /// @return whether the statement has succeeded in this transaction: the locks that this took keep its
  ///         tables from being changed by others. Outside of a transaction never.
  bool isProven(const PostgresStatement& statement) const noexcept;
  void setProven(PostgresStatement& statement) noexcept;

  /// Takes note that a statement has succeeded, which proves it if nothing hidden ran with it.
  void noteSuccess(PostgresStatement& statement) noexcept;

  /// Takes note that the server does not take the statement as it was prepared any more.
  /// @param unknown  whether it does not know it at all
  void setStale(PostgresStatement& statement, bool unknown) noexcept;

  /// Takes note that the server has dropped all of them.
  void clear() noexcept;

 private:
  bool seenBefore(std::size_t hash) noexcept;
  PostgresStatement& add(std::string_view key, std::size_t hash);
  const std::string& prefix();
  std::string nextName();
  std::size_t askForGuard(PostgresPipeline& pipeline);
  std::size_t askToDrop(PostgresPipeline& pipeline);
  void noteServer(const PGresult* answer);
  ExecResult findEffect(const std::string& table);
  ExecResult undoInTransaction(const PostgresPipeline& pipeline, ExecResult outcome);

  PostgresExecutor& m_executor;
  PostgresWriteEffects& m_effects;
  const std::size_t m_capacity;
  const std::shared_ptr<std::atomic<bool>> m_allowed;
  // The hashes stand apart: looking one up is a scan over a few cache lines.
  std::vector<std::size_t> m_hashes;
  std::vector<std::unique_ptr<PostgresStatement>> m_statements;
  std::vector<std::size_t> m_seen;  ///< hashes that were asked for once, a ring
  std::size_t m_nextSeen = 0;
  std::vector<std::string> m_dropped;  ///< names that the server still keeps
  std::string m_savepoint;
  std::string m_guardText;
  std::string m_guard;
  const std::string m_noGuard;
  bool m_hasGuard = false;
  bool m_interrupted = false;
  bool m_guardLasts = true;  ///< no pooler changes the server, and no function known to run drops statements
  std::uint64_t m_provenMark = 0;  ///< the transaction mark of the last statement that was proven
  std::string m_prefix;
  std::uint64_t m_names = 0;
  std::uint64_t m_clock = 0;
};

}  // namespace vorn
