#include <mysql.h>

#include <csignal>

#include "faults/HarmTest.h"
#include "faults/Loopback.h"
#include "faults/Storm.h"
#include "mariadb/MariaDbServer.h"

namespace {

/// On a server of its own, under load. What was acknowledged is there, once, whatever is done to the server.
class MariaDbStorm : public HarmTest {
 protected:
  void SetUp() override { prepare(m_url); }

  void use(const std::string& options) {
    useStore(m_url + "?pool_size=" + std::to_string(Storm::kThreads) + options);
  }

  /// Kills a random one of the library's connections, or its statement, after a pause. @return how many were met
  int strike(unsigned longestPause, const std::string& verb, const std::string& condition) {
    usleep(static_cast<unsigned>(m_random() % longestPause));
    mysql_query(m_harmer.get(), ("select id from information_schema.processlist where db = 'storm' and " +
                                 condition + " order by rand() limit 1")
                                    .c_str());
    const std::unique_ptr<MYSQL_RES, void (*)(MYSQL_RES*)> result(mysql_store_result(m_harmer.get()),
                                                                  mysql_free_result);
    const MYSQL_ROW row = mysql_fetch_row(result.get());
    return row != nullptr && mysql_query(m_harmer.get(), (verb + " " + row[0]).c_str()) == 0 ? 1 : 0;
  }

  /// Ends one of this process's connections to the server, wherever in a message it is. @return whether there was one
  bool cutOne() {
    const int port = std::stoi(m_server.host().substr(m_server.host().find(':') + 1));
    constexpr int kFiles = 64;
    for (int tried = 0, file = static_cast<int>(m_random() % kFiles); tried < kFiles;
         ++tried, file = (file + 1) % kFiles) {
      sockaddr_in peer{};
      socklen_t size = sizeof peer;
      const bool isConnection =
          getpeername(file, reinterpret_cast<sockaddr*>(&peer), &size) == 0 && ntohs(peer.sin_port) == port;
      if (isConnection && file != static_cast<int>(mysql_get_socket(m_harmer.get())))
        return shutdown(file, SHUT_RDWR) == 0;
    }
    return false;
  }

  void expectLedger() {
    use("");
    m_storm.expectOn(db);
  }

  unsigned m_seed = testSeed();
  std::mt19937 m_random{m_seed};
  MariaDbServer m_server{"max_connections=40\n"};
  const std::string m_url = (m_server.query("create database storm"), m_server.url("storm"));
  std::unique_ptr<MYSQL, void (*)(MYSQL*)> m_harmer{m_server.connect(), mysql_close};
  Storm m_storm{m_seed};
};

TEST_F(MariaDbStorm, FiveHundredCancellations) {
  use("");
  m_storm.rage(500, [this] { return strike(1000, "kill query", "command not in ('Sleep', 'Daemon')"); });
  expectLedger();
}

TEST_F(MariaDbStorm, FiveHundredCutConnections) {
  use("");
  m_storm.rage(250, [this] { return strike(20000, "kill", "true"); });
  expectLedger();
  m_storm.rage(250, [this] {
    usleep(static_cast<unsigned>(m_random() % 20000));
    return cutOne() ? 1 : 0;
  });
  expectLedger();
}

TEST_F(MariaDbStorm, AcknowledgedRowsSurviveTheServer) {
  use("&read_timeout=2");
  m_storm.rage(5, [this] {
    usleep(300000);
    m_server.stop(SIGKILL);
    usleep(100000);
    m_server.start();
    m_server.signal(SIGSTOP);
    usleep(2500000);
    m_server.signal(SIGCONT);
    return 1;
  });
  expectLedger();
}

}  // namespace
