#include "exec/adapters/sqlite/sequential_key.h"

#include "exec/adapters/sqlite/SqliteStatement.h"

namespace vorn {

namespace {

SqliteHandle prepare(sqlite3* database, const std::string& sql) {
  sqlite3_stmt* handle = nullptr;
  sqlite3_prepare_v2(database, sql.c_str(), -1, &handle, nullptr);
  return SqliteHandle(handle);
}

bool isPlainTable(const std::string& name) {
  return name.find_first_of(".\"") == std::string::npos;
}

bool isIn(sqlite3* database, const char* schema, const std::string& table) {
  return sqlite3_table_column_metadata(database, schema, table.c_str(), nullptr, nullptr, nullptr, nullptr,
                                       nullptr, nullptr) == SQLITE_OK;
}

// An ordinary table without triggers, and without a conflict clause, whose word its text would show.
bool storesEveryRow(sqlite3* database, const std::string& table) {
  const SqliteHandle query =
      prepare(database,
              "select 1 from main.sqlite_schema where tbl_name = ?1 collate nocase and (type not in "
              "('table', 'index') "
              "or instr(lower(sql), 'conflict') > 0 or instr(lower(sql), 'virtual') > 0) union all "
              "select 1 from temp.sqlite_schema where tbl_name = ?1 collate nocase");
  sqlite3_bind_text(query.get(), 1, table.c_str(), -1, SQLITE_STATIC);
  return sqlite3_step(query.get()) == SQLITE_DONE;
}

// The name of the column that is the row id; empty for none. Another column may be called like the row id and
// hide it, but it then has that very name.
std::string rowIdName(sqlite3* database, const std::string& table) {
  const SqliteHandle query = prepare(database, "select _rowid_ from main." + table);
  const char* name = query == nullptr ? nullptr : sqlite3_column_origin_name(query.get(), 0);
  if (name == nullptr || sqlite3_stricmp(name, "_rowid_") == 0 || sqlite3_stricmp(name, "rowid") == 0)
    return {};
  int primaryKey = 0;
  int counted = 0;
  const int code = sqlite3_table_column_metadata(database, "main", table.c_str(), name, nullptr, nullptr,
                                                 nullptr, &primaryKey, &counted);
  // An autoincrement keeps a counter of its own.
  return code == SQLITE_OK && primaryKey != 0 && counted == 0 ? name : std::string();
}

bool risesByOne(const BatchColumn& column, std::size_t rows) {
  for (std::size_t row = 1; row < rows; ++row) {
    if (column.bits(row) - column.bits(0) != row) return false;
  }
  return static_cast<long>(column.bits(0)) <= static_cast<long>(column.bits(rows - 1));
}

bool isAboveTable(sqlite3* database, const std::string& table, long first) {
  const SqliteHandle query = prepare(database, "select max(_rowid_) < ?1 from main." + table);
  sqlite3_bind_int64(query.get(), 1, first);
  return sqlite3_step(query.get()) == SQLITE_ROW &&
         (sqlite3_column_type(query.get(), 0) == SQLITE_NULL || sqlite3_column_int(query.get(), 0) == 1);
}

}  // namespace

std::size_t findSequentialRowId(sqlite3* database, const std::string& table, const BatchColumns& columns) {
  // Below 100 rows the check costs more than it saves.
  if (columns.rows() < 100 || !isPlainTable(table) || isIn(database, "temp", table) ||
      !isIn(database, "main", table)) {
    return columns.size();
  }
  const std::string name = rowIdName(database, table);
  if (name.empty()) return columns.size();
  for (std::size_t at = 0; at < columns.size(); ++at) {
    const BatchColumn& column = columns[at];
    if (!column.isInteger() || sqlite3_stricmp(column.name->c_str(), name.c_str()) != 0) continue;
    const bool sequential = risesByOne(column, columns.rows()) && storesEveryRow(database, table) &&
                            isAboveTable(database, table, static_cast<long>(column.bits(0)));
    return sequential ? at : columns.size();
  }
  return columns.size();
}

}  // namespace vorn
