#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <soci/soci.h>
#include <sqlite3.h>

#include <memory>
#include <string>

#include "vorn/database.h"

namespace bench {

// One class for each way to a data file, with the same face: open() with the same settings for all, close(),
// transactions, and the first field of a query as text. Every failure is an exception.

/// The library, session "default".
class LibraryStore {
 public:
  static constexpr const char* kName = "vorn";
  void open(const std::string& path);
  void close();
  void begin() { check(m_db.beginTransaction()); }
  void commit() { check(m_db.commitTransaction()); }
  std::string first(const std::string& sql);

  CVORN& db() { return m_db; }

  /// Throws for any code but 0.
  static void check(unsigned long code);

 private:
  MIRAsqlDB m_db{false};
};

/// The C interface of SQLite.
class RawStore {
 public:
  struct Closer {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

  static constexpr const char* kName = "C interface";
  void open(const std::string& path);
  void close() { m_database.reset(); }
  void begin() { execute("begin immediate"); }
  void commit() { execute("commit"); }
  std::string first(const std::string& sql);

  /// Runs statements with sqlite3_exec().
  void execute(const char* sql);
  void execute(const std::string& sql) { execute(sql.c_str()); }
  Statement prepare(const std::string& sql);

  /// Throws unless `code` is `wanted`.
  void check(int code, int wanted = SQLITE_OK) const {
    if (code != wanted) fail();
  }

 private:
  [[noreturn]] void fail() const;

  std::unique_ptr<sqlite3, Closer> m_database;
};

/// SQLiteCpp.
class SqliteCppStore {
 public:
  static constexpr const char* kName = "SQLiteCpp";
  void open(const std::string& path);
  void close() { m_database.reset(); }
  void begin() { m_database->exec("begin immediate"); }
  void commit() { m_database->exec("commit"); }
  std::string first(const std::string& sql);

  SQLite::Database& database() { return *m_database; }

 private:
  std::unique_ptr<SQLite::Database> m_database;
};

/// SOCI with its sqlite3 backend.
class SociStore {
 public:
  static constexpr const char* kName = "SOCI";
  void open(const std::string& path);
  void close() { m_session.reset(); }
  void begin() { *m_session << "begin immediate"; }
  void commit() { *m_session << "commit"; }
  std::string first(const std::string& sql);

  soci::session& session() { return *m_session; }

 private:
  std::unique_ptr<soci::session> m_session;
};

}  // namespace bench
