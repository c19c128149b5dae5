#pragma once

#include <mysql.h>

#include "faults/TestServer.h"

class MariaDbServer : public TestServer {
 public:
  /// Makes an empty server and starts it. @param settings  lines for my.cnf
  explicit MariaDbServer(const std::string& settings = "");

  void start() override;

  using TestServer::query;
  std::string query(const std::string& sql, const std::string& database) const override;
  std::string striking(Struck what) const override;

  /// @return a connection of the test's own, which may write everywhere and hold several statements in a text
  MYSQL* connect(const std::string& database = "mysql") const;
};

/// @return the server that the tests of one process share
TestServer& sharedMariaDbServer();

/// Connects to a server. @return a connection, which may have failed
MYSQL* connectToMariaDb(const std::string& host, int port, const char* user, const char* password,
                        const std::string& database);

/// Runs SQL on a connection, or throws. @return the fields of the last row of its last statement, joined by '|'
std::string lastRowOf(MYSQL* connection, const std::string& sql);
