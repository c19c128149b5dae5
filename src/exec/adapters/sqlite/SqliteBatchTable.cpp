#include "exec/adapters/sqlite/SqliteBatchTable.h"

#include <memory>
#include <new>

#include "exec/adapters/sqlite/sqlite_values.h"

namespace vorn {

namespace {

constexpr char kNamePrefix[] = "sqlite_vorn_batch_";

std::string declaration(const std::string& name) {
  const std::size_t columns = std::stoul(name.substr(sizeof kNamePrefix - 1));
  std::string text = "create table batch(";
  for (std::size_t column = 0; column < columns; ++column) {
    text.append(column == 0 ? "c" : ",c").append(std::to_string(column));
  }
  return text + ")";
}

}  // namespace

struct SqliteBatchTable::Table {
  sqlite3_vtab base{};
  SqliteBatchTable* owner = nullptr;
};

struct SqliteBatchTable::Cursor {
  sqlite3_vtab_cursor base{};
  const BatchColumns* columns = nullptr;
  std::size_t row = 0;
  std::size_t end = 0;
  std::size_t numbered = 0;
};

int SqliteBatchTable::provide(sqlite3* database, std::size_t columns, std::string& name) {
  name = kNamePrefix + std::to_string(columns);
  // Registering a module a second time would end the statements that use the first.
  if (m_provided.count(columns) > 0) return SQLITE_OK;
  const auto made = m_provided.insert(columns).first;
  const int code = sqlite3_create_module(database, name.c_str(), module(), this);
  if (code != SQLITE_OK) m_provided.erase(made);
  return code;
}

int SqliteBatchTable::connect(sqlite3* database, void* self, int, const char* const* argv,
                              sqlite3_vtab** table, char**) noexcept {
  try {
    auto made = std::make_unique<Table>();
    made->owner = static_cast<SqliteBatchTable*>(self);
    const int code = sqlite3_declare_vtab(database, declaration(argv[0]).c_str());
    if (code == SQLITE_OK) *table = &made.release()->base;
    return code;
  } catch (const std::bad_alloc&) {
    return SQLITE_NOMEM;
  }
}

int SqliteBatchTable::disconnect(sqlite3_vtab* table) noexcept {
  delete reinterpret_cast<Table*>(table);
  return SQLITE_OK;
}

int SqliteBatchTable::bestIndex(sqlite3_vtab*, sqlite3_index_info* plan) noexcept {
  plan->estimatedCost = 1e6;
  plan->estimatedRows = 1000000;
  return SQLITE_OK;
}

int SqliteBatchTable::openCursor(sqlite3_vtab*, sqlite3_vtab_cursor** cursor) noexcept {
  try {
    *cursor = &(new Cursor)->base;
    return SQLITE_OK;
  } catch (const std::bad_alloc&) {
    return SQLITE_NOMEM;
  }
}

int SqliteBatchTable::closeCursor(sqlite3_vtab_cursor* cursor) noexcept {
  delete reinterpret_cast<Cursor*>(cursor);
  return SQLITE_OK;
}

int SqliteBatchTable::filter(sqlite3_vtab_cursor* base, int, const char*, int, sqlite3_value**) noexcept {
  auto* cursor = reinterpret_cast<Cursor*>(base);
  SqliteBatchTable& owner = *reinterpret_cast<Table*>(base->pVtab)->owner;
  owner.m_wasRead = true;
  cursor->columns = owner.m_shown;
  cursor->row = 0;
  cursor->end = owner.m_shown == nullptr ? 0 : owner.m_shown->rows();
  cursor->numbered = owner.m_numbered;
  return SQLITE_OK;
}

int SqliteBatchTable::next(sqlite3_vtab_cursor* cursor) noexcept {
  ++reinterpret_cast<Cursor*>(cursor)->row;
  return SQLITE_OK;
}

int SqliteBatchTable::atEnd(sqlite3_vtab_cursor* base) noexcept {
  const auto* cursor = reinterpret_cast<Cursor*>(base);
  return cursor->row >= cursor->end ? 1 : 0;
}

int SqliteBatchTable::column(sqlite3_vtab_cursor* base, sqlite3_context* context, int index) noexcept {
  const auto* cursor = reinterpret_cast<Cursor*>(base);
  const auto number = static_cast<std::size_t>(index);
  if (number == cursor->numbered && cursor->row > 0) return SQLITE_OK;  // no result is null
  returnSqliteValue(context, (*cursor->columns)[number], cursor->row);
  return SQLITE_OK;
}

int SqliteBatchTable::rowId(sqlite3_vtab_cursor* cursor, sqlite3_int64* id) noexcept {
  *id = static_cast<sqlite3_int64>(reinterpret_cast<Cursor*>(cursor)->row);
  return SQLITE_OK;
}

const sqlite3_module* SqliteBatchTable::module() noexcept {
  // No xCreate: the table exists under its module's name, without a create statement.
  static const sqlite3_module made = [] {
    sqlite3_module functions{};
    functions.xConnect = connect;
    functions.xBestIndex = bestIndex;
    functions.xDisconnect = disconnect;
    functions.xOpen = openCursor;
    functions.xClose = closeCursor;
    functions.xFilter = filter;
    functions.xNext = next;
    functions.xEof = atEnd;
    functions.xColumn = column;
    functions.xRowid = rowId;
    return functions;
  }();
  return &made;
}

}  // namespace vorn
