#pragma once

#include <libpq-fe.h>

#include <map>
#include <memory>
#include <string>

#include "Checksum.h"
#include "Place.h"
#include "postgres/TextParameters.h"

namespace bench {

/// A connection of libpq's. Every failure is an exception.
class LibpqStore {
 public:
  void open(const Place& place);
  void close() { m_connection.reset(); }
  void begin() { execute("begin"); }
  void commit() { execute("commit"); }
  std::string first(const std::string& sql);

  void execute(const std::string& sql, ExecStatusType status = PGRES_COMMAND_OK) {
    expect(PQexec(m_connection.get(), sql.c_str()), status);
  }

  /// Prepares a statement on the server, unless this connection has it. @return its name
  std::string prepare(const std::string& sql);
  /// Runs a prepared statement, and reads all rows (id, text, level, ratio) of one that returns some.
  void run(const std::string& name, const TextParameters& parameters, Checksum& checksum);

  /// Runs a text with PQexec(), and reads all rows of one that returns some.
  void readRows(const std::string& sql, Checksum& checksum) {
    addRows(expect(PQexec(m_connection.get(), sql.c_str())), checksum);
  }
  /// The same with PQexecParams().
  void readParsed(const std::string& sql, Checksum& checksum);
  /// Reads all rows as they arrive.
  void streamRows(const std::string& sql, Checksum& checksum);

  /// Fills the sample table as a careful programmer would: COPY from one buffer, with the shortest numbers.
  void copy(const SampleRows& rows);

 private:
  struct Closer {
    void operator()(PGconn* connection) const { PQfinish(connection); }
    void operator()(PGresult* result) const { PQclear(result); }
  };
  using Result = std::unique_ptr<PGresult, Closer>;

  void addRows(const Result& result, Checksum& checksum);
  void flush(std::string& buffer);
  /// Throws for a result that is neither the status nor, where none is given, a success.
  Result expect(PGresult* result, ExecStatusType status = PGRES_EMPTY_QUERY) const;
  [[noreturn]] void fail() const;

  std::unique_ptr<PGconn, Closer> m_connection;
  std::string m_text;
  std::map<std::string, std::string> m_prepared;  // from texts to names
};

}  // namespace bench
