#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include "sqlite/RawStore.h"

namespace bench {

/// SQLiteCpp.
class SqliteCppStore {
 public:
  void open(const Place& place) {
    m_database = std::make_unique<SQLite::Database>(
        place.address, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX, kBusyTimeout);
    for (const std::string& setting : settingsOf(place)) execute(setting);
  }
  void close() { m_database.reset(); }
  void begin() { execute("begin immediate"); }
  void commit() { execute("commit"); }
  void execute(const std::string& text) { m_database->exec(text); }
  std::string first(const std::string& sql) {
    SQLite::Statement statement(*m_database, sql);
    return statement.executeStep() ? statement.getColumn(0).getString() : "";
  }

  /// Reads all rows (id, text, level, ratio) of a query.
  void readRows(const std::string& sql, Checksum& checksum) {
    SQLite::Statement statement(*m_database, sql);
    readRows(statement, checksum);
  }
  void readRows(SQLite::Statement& statement, Checksum& checksum) {
    while (statement.executeStep()) {
      const long id = statement.getColumn(0).getInt64();
      const std::string text = statement.getColumn(1).getString();
      const int level = statement.getColumn(2).getInt();
      const double ratio = statement.getColumn(3).getDouble();
      checksum.add(id, text, level, ratio);
    }
  }

  /// Fills the sample table with one prepared statement in a loop.
  void insert(const SampleRows& rows) {
    SQLite::Statement statement(*m_database, "insert into sample (id,text,level,ratio) values(?,?,?,?)");
    for (std::size_t row = 0; row < rows.size(); ++row) {
      statement.bind(1, static_cast<int64_t>(rows.ids[row]));
      statement.bindNoCopy(2, rows.texts[row]);
      statement.bind(3, static_cast<int64_t>(rows.levels[row]));
      statement.bind(4, rows.ratios[row]);
      statement.exec();
      statement.reset();
    }
  }

  SQLite::Database& database() { return *m_database; }

 private:
  std::unique_ptr<SQLite::Database> m_database;
};

}  // namespace bench
