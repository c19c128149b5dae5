#pragma once

#include <string>

#include "Checksum.h"
#include "Place.h"
#include "vorn/batch_inserter.h"
#include "vorn/database.h"
#include "vorn/statement.h"

namespace bench {

/// The library, session "default". Has the face that all stores of the benchmarks share: open(), close(),
/// transactions, and the first field of a query as text. Every failure is an exception.
class LibraryStore {
 public:
  /// Binds the session to a store; the first statement opens the connection.
  static void bind(const std::string& url);
  void open(const Place& place);
  /// Opens connections of the pool until it has `count`.
  static void openConnections(std::size_t count);
  static void close();
  void begin() { check(m_db.beginTransaction()); }
  void commit() { check(m_db.commitTransaction()); }
  std::string first(const std::string& sql);

  void execute(const std::string& text);
  void execute(const BatchInserter& batch) { check(m_db.ExecBatchInserter(batch)); }
  void execute(const CVORNBase& statement) { check(m_db.execWriteSQL(statement)); }
  void query(const CVORNBase& statement, CVORNReader& reader) { check(m_db.execReadSQL(statement, reader)); }

  /// Runs a statement, and reads the rows of one that returns some.
  void run(const CVORNBase& statement, bool reads, Checksum& checksum) {
    reads ? readRows(statement, checksum) : execute(statement);
  }

  /// Reads all rows (id, text, level, ratio) of a query.
  void readRows(const CVORNBase& statement, Checksum& checksum);
  void readRows(const std::string& text, Checksum& checksum);

  CVORN& database() { return m_db; }

  /// Throws for any code but 0.
  static void check(unsigned long code);

 private:
  MIRAsqlDB m_db{false};
  CVORNsqlstr m_statement;
  SampleRow m_row;
};

}  // namespace bench
