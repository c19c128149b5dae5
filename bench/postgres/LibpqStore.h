#pragma once

#include <libpq-fe.h>

#include <memory>
#include <string>

#include "Checksum.h"

namespace bench {

/// A connection of libpq's. Every failure is an exception.
class LibpqStore {
 public:
  using Result = std::unique_ptr<PGresult, void (*)(PGresult*)>;

  explicit LibpqStore(const std::string& url);

  void execute(const char* sql, ExecStatusType status = PGRES_COMMAND_OK) {
    expect(PQexec(connection(), sql), status);
  }

  /// Reads one row (id, text, level, ratio).
  void readOne(const std::string& sql, Checksum& checksum);
  /// Reads all rows as they arrive.
  void readRows(const std::string& sql, Checksum& checksum);

  /// Fills the sample table as a careful programmer would: COPY from one buffer, with the shortest numbers.
  void copy(const SampleRows& rows);

 private:
  PGconn* connection() { return m_connection.get(); }
  void addRow(const PGresult* result, Checksum& checksum);
  void flush(std::string& buffer);
  Result expect(PGresult* result, ExecStatusType status) const;
  [[noreturn]] void fail() const;

  std::unique_ptr<PGconn, void (*)(PGconn*)> m_connection;
  std::string m_text;
};

}  // namespace bench
