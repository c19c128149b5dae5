#pragma once

#include "faults/Loopback.h"
#include "faults/TestProgram.h"

/// A server of the test's own, on a free port of the loopback interface. It may encrypt with the certificate at
/// file("certificate"), whose key is beside it.
class TestServer : public TestProgram {
 public:
  static constexpr const char* kUser = "vorn";
  static constexpr const char* kPassword = "geheim%20&wort";  // percent-encoded
  static constexpr const char* kPlainPassword = "geheim &wort";

  virtual ~TestServer() = default;

  virtual void start() = 0;

  int port() const { return m_port; }
  std::string host() const { return "127.0.0.1:" + std::to_string(m_port); }
  std::string url(const std::string& database) const {
    return m_scheme + kUser + ":" + kPassword + "@" + host() + "/" + database;
  }
  std::string url() const { return url(m_home); }

  /// @return the URL of a database made by this call
  std::string freshDatabase() {
    const std::string name = "store" + std::to_string(++m_databases);
    query("create database " + name);
    return url(name);
  }

  /// Runs SQL on a connection of the test's own. @return the first field of the last statement
  virtual std::string query(const std::string& sql, const std::string& database) const = 0;
  std::string query(const std::string& sql) const { return query(sql, m_home); }

  enum class Struck { Statement, Connection };
  /// @return SQL that ends one of other connections, or what one is running, and returns how many it has met
  virtual std::string striking(Struck what) const = 0;

 protected:
  /// @param home  a database that is there from the beginning
  TestServer(std::string scheme, std::string home)
      : m_scheme(std::move(scheme)), m_home(std::move(home)), m_port(freeLoopbackPort()) {
    execute({VORN_TEST_SOURCES "/faults/make_certificate.sh", file("certificate")});
  }

  void launchAndWait(const std::vector<std::string>& command) {
    launch(command);
    const auto answers = [this] {
      try {
        return query("select 1") == "1";
      } catch (const std::runtime_error&) {
        return false;
      }
    };
    if (!comesTrue(std::chrono::seconds(30), answers)) throw std::runtime_error("the server does not start");
  }

 private:
  const std::string m_scheme, m_home;
  const int m_port;
  int m_databases = 0;
};
