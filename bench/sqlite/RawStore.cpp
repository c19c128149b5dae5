#include "sqlite/RawStore.h"

#include <stdexcept>

namespace bench {

void RawStore::open(const Place& place) {
  sqlite3* handle = nullptr;
  const int code = sqlite3_open_v2(place.address.c_str(), &handle,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  m_database.reset(handle);
  check(code);
  sqlite3_busy_timeout(handle, kBusyTimeout);
  for (const std::string& setting : settingsOf(place)) execute(setting);
  m_begin = prepare("begin immediate");
  m_commit = prepare("commit");
}

void RawStore::close() {
  m_begin.reset();
  m_commit.reset();
  m_database.reset();
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
  std::string text;
  if (sqlite3_step(statement.get()) == SQLITE_ROW) take(statement.get(), 0, text);
  return text;
}

void RawStore::readRows(sqlite3_stmt* statement, Checksum& checksum) {
  stepThrough(statement, [&] {
    take(statement, 0, m_row.id);
    take(statement, 1, m_row.text);
    take(statement, 2, m_row.level);
    take(statement, 3, m_row.ratio);
    checksum.add(m_row);
  });
}

void RawStore::insert(const SampleRows& rows) {
  const Statement statement = prepare("insert into sample (id,text,level,ratio) values(?,?,?,?)");
  for (std::size_t row = 0; row < rows.size(); ++row) {
    bind(statement.get(), 1, rows.ids[row]);
    bind(statement.get(), 2, rows.texts[row]);
    bind(statement.get(), 3, rows.levels[row]);
    bind(statement.get(), 4, rows.ratios[row]);
    run(statement.get());
  }
}

void RawStore::fail() const {
  throw std::runtime_error(sqlite3_errmsg(m_database.get()));
}

}  // namespace bench
