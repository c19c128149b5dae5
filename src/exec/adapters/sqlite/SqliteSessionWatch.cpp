#include "exec/adapters/sqlite/SqliteSessionWatch.h"

#include <algorithm>
#include <iterator>

namespace vorn {

namespace {

// Pragmas whose value is a question's, or goes into the file; none of them changes the session.
constexpr const char* kHarmlessPragmas[] = {
    "application_id", "foreign_key_check", "foreign_key_list", "incremental_vacuum", "index_info",
    "index_list",     "index_xinfo",       "integrity_check",  "optimize",           "quick_check",
    "table_info",     "table_list",        "table_xinfo",      "user_version",       "wal_checkpoint"};

bool isHarmlessPragma(const char* name) {
  return std::any_of(std::begin(kHarmlessPragmas), std::end(kHarmlessPragmas),
                     [name](const char* harmless) { return sqlite3_stricmp(name, harmless) == 0; });
}

bool isTemporary(const char* schema) {
  return schema != nullptr && sqlite3_stricmp(schema, "temp") == 0;
}

}  // namespace

void SqliteSessionWatch::watch(sqlite3* database) noexcept {
  sqlite3_set_authorizer(database, authorize, this);
}

void SqliteSessionWatch::prepareIn(Mode mode) noexcept {
  m_mode = mode;
  m_control = {};
  m_deniedPragma = false;
}

int SqliteSessionWatch::seePragma(const char* name, const char* value, const char* schema) noexcept {
  // Without a value a pragma only asks. What it keeps in the temporary schema is the session's own.
  if (value == nullptr || (isHarmlessPragma(name) && !isTemporary(schema))) return SQLITE_OK;
  if (m_mode == Mode::DenyPragmas) {
    m_deniedPragma = true;
    return SQLITE_DENY;
  }
  m_changed = true;
  return SQLITE_OK;
}

int SqliteSessionWatch::authorize(void* self, int action, const char* first, const char* second,
                                  const char* schema, const char*) noexcept {
  auto& watch = *static_cast<SqliteSessionWatch*>(self);
  if (watch.m_mode == Mode::DenyAll) return SQLITE_DENY;
  switch (action) {
    case SQLITE_PRAGMA:
      return watch.seePragma(first, second, schema);
    case SQLITE_TRANSACTION:
      watch.m_control = {true, sqlite3_stricmp(first, "COMMIT") == 0};
      break;
    case SQLITE_SAVEPOINT:
      watch.m_control = {true, sqlite3_stricmp(first, "RELEASE") == 0};
      break;
    case SQLITE_ATTACH:
    case SQLITE_DETACH:
      watch.m_changed = watch.m_attached = true;
      break;
    case SQLITE_INSERT:
    case SQLITE_UPDATE:
    case SQLITE_DELETE:
      // Creating, changing or dropping a temporary object writes the temporary schema.
      if (isTemporary(schema)) watch.m_changed = true;
      break;
    default:
      break;
  }
  return SQLITE_OK;
}

}  // namespace vorn
