#pragma once

#include <libpq-fe.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>

#include "exec/adapters/postgres/PostgresExecutor.h"
#include "exec/adapters/postgres/PostgresPipeline.h"

namespace vorn {

/// What the server does besides when somebody writes to a table, as one connection has been told.
///
/// Invariants:
/// 1. A table counts as Plain only after the server has said so, and until a text of this connection may have
///    changed the schema or the session, or a statement was refused that could not be.
/// 2. That somebody else gives a table a trigger or a rule meanwhile is not noticed. It does no harm unless the
///    trigger changes what the statements of its own transaction stand on. The transaction then fails by a
///    refusal, after which every table is asked for anew, or a batch of few rows converts its values to the
///    types of before.
class PostgresWriteEffects {
 public:
  /// Hidden: functions run of which the text says nothing, or may run. Rewritten: another statement runs, or a
  /// function looks at the text.
  enum class Effect : unsigned char { Unknown, Plain, Hidden, Rewritten };

  explicit PostgresWriteEffects(const PostgresExecutor& executor) : m_executor(executor) {}

  /// @param table  as statements write it
  Effect of(const std::string& table) const;

  /// Asks in a pipeline. @return the question's number
  static std::size_t ask(PostgresPipeline& pipeline, const std::string& table);

  /// Takes note of the answer. @param answer  null for none that could be had
  void take(const std::string& table, const PGresult* answer);

  void clear() noexcept { m_effects.clear(); }

 private:
  static constexpr std::size_t kMostTables = 256;

  const PostgresExecutor& m_executor;
  std::unordered_map<std::string, Effect> m_effects;
  std::uint64_t m_generation = 0;  ///< the executor's schema mark of these
};

}  // namespace vorn
