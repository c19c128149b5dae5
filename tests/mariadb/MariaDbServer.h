#pragma once

#include <mysql.h>
#include <sys/types.h>

#include <string>

#include "support.h"

/// A server of the test's own, on a free port of the loopback interface and with its data in a temporary
/// directory. It ends with the object, and with the thread that started it.
class MariaDbServer {
 public:
  /// Makes an empty server and starts it. @param settings  lines for my.cnf
  explicit MariaDbServer(const std::string& settings = "");
  ~MariaDbServer();
  MariaDbServer(const MariaDbServer&) = delete;
  MariaDbServer& operator=(const MariaDbServer&) = delete;

  void start();
  /// @param signal  SIGTERM for an orderly end, SIGKILL for an abrupt one
  void stop(int signal);
  /// Lets the server do nothing (SIGSTOP), or go on (SIGCONT).
  void signal(int signal) const;

  std::string host() const { return "127.0.0.1:" + std::to_string(m_port); }
  std::string socket() const { return m_directory.file("socket"); }
  std::string url(const std::string& database = "mysql") const;
  /// @return the URL of a database made by this call
  std::string freshDatabase();
  /// Runs SQL on a connection of the test's own, which may write everywhere.
  /// @return the first field of the last statement
  std::string query(const std::string& sql, const std::string& database = "mysql") const;

  /// @return a connection of the test's own, which may write everywhere and hold several statements in a text
  MYSQL* connect(const std::string& database = "mysql") const;

  static constexpr const char* kPassword = "geheim%20&wort";  // percent-encoded

 private:
  const TemporaryDirectory m_directory;
  int m_port;
  pid_t m_process = -1;
  int m_databases = 0;
};

/// @return the server that the tests of one process share
MariaDbServer& sharedMariaDbServer();
