#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "support.h"

int freePort();

/// Starts a program that does not run as root. It ends with the thread that started it.
pid_t startProgram(const TemporaryDirectory& directory, const std::vector<std::string>& command);

/// A server of the test's own, on a free port of the loopback interface and with its data in a temporary
/// directory. It ends with the object, and with the thread that started it.
class PostgresServer {
 public:
  /// Makes an empty cluster and starts it. @param settings  lines for postgresql.conf
  explicit PostgresServer(const std::string& settings = "");
  /// Makes and starts a hot standby of a running server.
  PostgresServer(const PostgresServer& primary, const std::string& settings);
  ~PostgresServer();
  PostgresServer(const PostgresServer&) = delete;
  PostgresServer& operator=(const PostgresServer&) = delete;

  void start();
  /// @param signal  SIGINT for an orderly end, SIGQUIT for an abrupt one
  void stop(int signal);
  /// Makes a standby the server that writes, and waits until it is.
  void promote() const;

  std::string host() const { return "127.0.0.1:" + std::to_string(m_port); }
  std::string url(const std::string& database = "postgres") const;
  /// @return the URL of a database made by this call
  std::string freshDatabase();
  /// Runs SQL on a connection of the test's own. @return the first field of the last statement
  std::string query(const std::string& sql, const std::string& database = "postgres") const;

  static constexpr const char* kPassword = "geheim%20&wort";  // percent-encoded

 private:
  void configure(const std::string& settings) const;
  void execute(const std::vector<std::string>& command) const;
  pid_t spawn(const std::vector<std::string>& command) const { return startProgram(m_directory, command); }

  const TemporaryDirectory m_directory;
  const std::string m_data = m_directory.file("data");
  int m_port;
  pid_t m_process = -1;
  int m_databases = 0;
};

/// @return the server that the tests of one process share
PostgresServer& sharedPostgresServer();
