#pragma once

#include <mysql.h>

#include <memory>
#include <string>

#include "Checksum.h"
#include "Place.h"

namespace bench {

/// A connection of MariaDB Connector/C. Every failure is an exception.
class ConnectorStore {
 public:
  struct Closer {
    void operator()(MYSQL* connection) const { mysql_close(connection); }
    void operator()(MYSQL_STMT* statement) const { mysql_stmt_close(statement); }
    void operator()(MYSQL_RES* result) const { mysql_free_result(result); }
  };
  using Statement = std::unique_ptr<MYSQL_STMT, Closer>;

  void open(const Place& place);
  void close() { m_connection.reset(); }
  void begin() { execute("begin"); }
  void commit() { execute("commit"); }
  void execute(const std::string& sql);
  std::string first(const std::string& sql);

  Statement prepare(const std::string& sql);
  /// Throws for any outcome of a call but 0.
  static void check(MYSQL_STMT* statement, int outcome);

  /// Runs a text, and reads all rows (id, text, level, ratio) as they arrive.
  void readRows(const std::string& sql, Checksum& checksum);

  /// Fills the sample table as a careful programmer would: bound by column, some thousands of rows at once.
  void insert(const SampleRows& rows);

 private:
  [[noreturn]] void fail();

  std::unique_ptr<MYSQL, Closer> m_connection;
};

/// The prepared select of a row (id, text, level, ratio) by its key.
class ConnectorLookup {
 public:
  ConnectorLookup(ConnectorStore& store, const std::string& sql);
  void run(long key, Checksum& checksum);

 private:
  const ConnectorStore::Statement m_statement;
  SampleRow m_row;
  long m_key = 0;
  char m_text[256] = "";
  unsigned long m_size = 0;
};

/// A way of making calls: the lookup prepared once.
struct ConnectorPrepared {
  using Store = ConnectorStore;
  template <typename Kind>
  class Call {
   public:
    Call(ConnectorStore& store, const Kind& kind) : m_kind(kind), m_lookup(store, kind.marked) {}
    void run(std::size_t index, Checksum& checksum) {
      m_lookup.run(std::get<0>(m_kind.values[index]), checksum);
    }

   private:
    const Kind& m_kind;
    ConnectorLookup m_lookup;
  };
};

}  // namespace bench
