#pragma once

#include "faults/TestServer.h"

class PostgresServer : public TestServer {
 public:
  /// Makes an empty cluster and starts it. @param settings  lines for postgresql.conf
  explicit PostgresServer(const std::string& settings = "");
  /// Makes and starts a hot standby of a running server.
  PostgresServer(const PostgresServer& primary, const std::string& settings);
  ~PostgresServer() override { stop(SIGQUIT); }

  void start() override;
  /// Makes a standby the server that writes, and waits until it is.
  void promote() const;

  using TestServer::query;
  std::string query(const std::string& sql, const std::string& database) const override;
  std::string striking(Struck what) const override;

 private:
  void configure(const std::string& settings) const;
  std::vector<std::string> command(const std::vector<std::string>& words) const;

  const std::string m_data = file("data");
};

/// @return the server that the tests of one process share
TestServer& sharedPostgresServer();
