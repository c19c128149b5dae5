#pragma once

#include <memory>
#include <pqxx/pqxx>

#include "Checksum.h"
#include "Place.h"

namespace bench {

/// A connection of libpqxx's.
class PqxxStore {
 public:
  void open(const Place& place) { m_connection = std::make_unique<pqxx::connection>(place.address); }
  void close() {
    m_transaction.reset();
    m_connection.reset();
  }
  void begin() {
    m_transaction.reset();  // the connection has one at a time
    m_transaction = std::make_unique<pqxx::work>(*m_connection);
  }
  void commit() {
    m_transaction->commit();
    m_transaction.reset();
  }
  std::string first(const std::string& sql) { return transaction().exec(sql)[0][0].c_str(); }

  /// @return what begin() has begun, or one that commits each statement by itself
  pqxx::transaction_base& transaction() {
    if (!m_transaction) m_transaction = std::make_unique<pqxx::nontransaction>(*m_connection);
    return *m_transaction;
  }

  /// Prepares a statement on the server. @return its name
  std::string prepare(const std::string& sql) {
    const std::string name = std::to_string(++m_prepared);
    m_connection->prepare(name, sql);
    return name;
  }

  /// Takes up all rows (id, text, level, ratio) of a result.
  static void addRows(const pqxx::result& rows, Checksum& checksum) {
    for (const pqxx::row& row : rows)
      checksum.add(row[0].as<long>(), row[1].as<std::string>(), row[2].as<int>(), row[3].as<double>());
  }

 private:
  std::unique_ptr<pqxx::connection> m_connection;
  std::unique_ptr<pqxx::transaction_base> m_transaction;
  int m_prepared = 0;
};

}  // namespace bench
