#include "sqlite/Stores.h"

#include <stdexcept>

#include "vorn/platform/data_session.h"
#include "vorn/platform/stores.h"
#include "vorn/reader.h"
#include "vorn/statement.h"

// SOCI's header for this backend declares the C interface a second time, so its one function is named here.
extern "C" const soci::backend_factory* factory_sqlite3();

namespace bench {

namespace {

// The library's own settings, given to the others.
constexpr int kBusyTimeout = 5000;
constexpr const char* kSettings[] = {"pragma foreign_keys=on", "pragma synchronous=full",
                                     "pragma journal_mode=wal"};

}  // namespace

void LibraryStore::check(unsigned long code) {
  if (code == 0) return;
  throw std::runtime_error(vorn::describeError(code) + ": " + vorn::lastResult().detail().value_or(""));
}

void LibraryStore::open(const std::string& path) {
  check(vorn::bindStore("default", "sqlite:" + path).errorCode());
  first("pragma user_version");  // opens the connection
}

void LibraryStore::close() {
  vorn::unbindStores();
}

std::string LibraryStore::first(const std::string& sql) {
  CVORNsqlstr statement;
  statement.assign(sql);
  CVORNReader reader;
  check(m_db.execReadSQL(statement, reader));
  std::string text;
  if (reader.hasNextElement()) reader >> text;
  return text;
}

void RawStore::open(const std::string& path) {
  sqlite3* handle = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &handle,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  m_database.reset(handle);
  check(code);
  sqlite3_busy_timeout(handle, kBusyTimeout);
  for (const char* setting : kSettings) execute(setting);
}

void RawStore::execute(const char* sql) {
  check(sqlite3_exec(m_database.get(), sql, nullptr, nullptr, nullptr));
}

RawStore::Statement RawStore::prepare(const std::string& sql) {
  sqlite3_stmt* handle = nullptr;
  const int code =
      sqlite3_prepare_v2(m_database.get(), sql.c_str(), static_cast<int>(sql.size()) + 1, &handle, nullptr);
  Statement statement(handle);
  check(code);
  return statement;
}

std::string RawStore::first(const std::string& sql) {
  const Statement statement = prepare(sql);
  if (sqlite3_step(statement.get()) != SQLITE_ROW) return "";
  const auto* text = sqlite3_column_text(statement.get(), 0);
  return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

void RawStore::fail() const {
  throw std::runtime_error(sqlite3_errmsg(m_database.get()));
}

void SqliteCppStore::open(const std::string& path) {
  m_database = std::make_unique<SQLite::Database>(
      path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX, kBusyTimeout);
  for (const char* setting : kSettings) m_database->exec(setting);
}

std::string SqliteCppStore::first(const std::string& sql) {
  SQLite::Statement statement(*m_database, sql);
  return statement.executeStep() ? statement.getColumn(0).getString() : "";
}

void SociStore::open(const std::string& path) {
  const std::string timeout = std::to_string(kBusyTimeout / 1000);
  m_session = std::make_unique<soci::session>(*factory_sqlite3(), "dbname=" + path + " timeout=" + timeout);
  for (const char* setting : kSettings) *m_session << setting;
}

std::string SociStore::first(const std::string& sql) {
  std::string text;
  *m_session << sql, soci::into(text);
  return text;
}

}  // namespace bench
