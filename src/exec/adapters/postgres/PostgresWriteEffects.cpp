#include "exec/adapters/postgres/PostgresWriteEffects.h"

#include <utility>

namespace vorn {

namespace {

// Of the table, its partitions and children, what a view reads, and the tables to which a foreign key carries
// a change on; those keys are the server's own triggers, by the numbers of their functions. 16384 is the
// first number that is not of the server's own.
constexpr char kQuestion[] =
    "with recursive written(id) as (select pg_catalog.to_regclass($1)::pg_catalog.oid union"
    " select further.id from written, lateral ("
    "select inhrelid from pg_catalog.pg_inherits where inhparent = written.id union all"
    " select d.refobjid from pg_catalog.pg_rewrite v join pg_catalog.pg_depend d on d.objid = v.oid"
    " and d.classid = 'pg_catalog.pg_rewrite'::regclass and d.refclassid = 'pg_catalog.pg_class'::regclass"
    " where v.ev_class = written.id union all"
    " select tgconstrrelid from pg_catalog.pg_trigger"
    " where tgrelid = written.id and tgfoid in (1646, 1647, 1650, 1651, 1652, 1653)) further(id))"
    " select bool_or(c.oid is null or p.prosrc ~* 'current_query|pg_stat_activity' or c.relhasrules and "
    "exists"
    " (select 1 from pg_catalog.pg_rewrite r where r.ev_class = c.oid and r.ev_type <> '1')),"
    " bool_or(c.relkind not in ('r', 'p') or t.oid is not null)"
    " from written left join pg_catalog.pg_class c on c.oid = written.id"
    " left join pg_catalog.pg_trigger t on t.tgrelid = c.oid and t.tgfoid >= 16384"
    " left join pg_catalog.pg_proc p on p.oid = t.tgfoid";

}  // namespace

PostgresWriteEffects::Effect PostgresWriteEffects::of(const std::string& table) const {
  if (m_generation != m_executor.schemaMark() || m_executor.textChangedSession()) return Effect::Unknown;
  const auto found = m_effects.find(table);
  return found == m_effects.end() ? Effect::Unknown : found->second;
}

std::size_t PostgresWriteEffects::ask(PostgresPipeline& pipeline, const std::string& table) {
  return pipeline.askWithText(false, kQuestion, table);
}

void PostgresWriteEffects::take(const std::string& table, const PGresult* answer) {
  const bool renewed = std::exchange(m_generation, m_executor.schemaMark()) != m_executor.schemaMark();
  if (renewed || m_effects.size() >= kMostTables) m_effects.clear();
  const auto says = [answer](int column) { return *PQgetvalue(answer, 0, column) == 't'; };
  const bool answered = answer != nullptr && PQntuples(answer) == 1;
  m_effects[table] = !answered || says(1) ? Effect::Hidden : Effect::Plain;
  if (answered && says(0)) m_effects[table] = Effect::Rewritten;
}

}  // namespace vorn
