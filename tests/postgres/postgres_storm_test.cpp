#include <libpq-fe.h>

#include <csignal>

#include "faults/HarmTest.h"
#include "faults/Loopback.h"
#include "faults/Storm.h"
#include "postgres/PostgresServer.h"

namespace {

/// On a server of its own, under load. What was acknowledged is there, once, whatever is done to the server.
class PostgresStorm : public HarmTest {
 protected:
  void SetUp() override { prepare(m_server.url()); }

  void use(const std::string& url) {
    useStore(url + "?pool_size=" + std::to_string(Storm::kThreads) + "&sslmode=disable&gssencmode=disable");
  }

  /// Calls a function of the server on a random one of the library's backends, after a pause. @return how
  /// many were met
  int strike(unsigned longestPause, const std::string& function, const std::string& condition) {
    usleep(static_cast<unsigned>(m_random() % longestPause));
    const std::string sql =
        "select " + function +
        "(pid) from (select pid from pg_stat_activity where backend_type = 'client backend' and "
        "pid <> pg_backend_pid() and " +
        condition + " order by random() limit 1) as x";
    const std::unique_ptr<PGresult, void (*)(PGresult*)> result(PQexec(m_harmer.get(), sql.c_str()), PQclear);
    return PQntuples(result.get()) == 1 && *PQgetvalue(result.get(), 0, 0) == 't' ? 1 : 0;
  }

  /// Ends one of the library's connections under it, wherever in a message it is. @return whether there was
  /// one
  bool cutOne() {
    const int port = std::stoi(m_server.host().substr(m_server.host().find(':') + 1));
    constexpr int kFiles = 64;
    for (int tried = 0, file = static_cast<int>(m_random() % kFiles); tried < kFiles;
         ++tried, file = (file + 1) % kFiles) {
      sockaddr_in peer{};
      socklen_t size = sizeof peer;
      const bool isConnection =
          getpeername(file, reinterpret_cast<sockaddr*>(&peer), &size) == 0 && ntohs(peer.sin_port) == port;
      if (isConnection && file != PQsocket(m_harmer.get())) return shutdown(file, SHUT_RDWR) == 0;
    }
    return false;
  }

  void expectLedger() {
    use(m_server.url());
    m_storm.expectOn(db);
  }

  unsigned m_seed = testSeed();
  std::mt19937 m_random{m_seed};
  PostgresServer m_server{"max_connections=40\n"};
  std::unique_ptr<PGconn, void (*)(PGconn*)> m_harmer{PQconnectdb(m_server.url().c_str()), PQfinish};
  Storm m_storm{m_seed};
};

TEST_F(PostgresStorm, FiveHundredCancellations) {
  m_storm.rage(500, [this] {
    // A copy is the answer to a cancellation that has the most states.
    const std::string which = m_random() % 2 == 0 ? "" : " and query ilike 'copy%'";
    return strike(1000, "pg_cancel_backend", "state = 'active'" + which);
  });
  expectLedger();
}

TEST_F(PostgresStorm, FiveHundredCutConnections) {
  m_storm.rage(250, [this] { return strike(20000, "pg_terminate_backend", "true"); });
  expectLedger();
  m_storm.rage(250, [this] {
    usleep(static_cast<unsigned>(m_random() % 20000));
    return cutOne() ? 1 : 0;
  });
  expectLedger();
}

TEST_F(PostgresStorm, AcknowledgedRowsSurviveThePrimary) {
  const PostgresServer standby(m_server, "");
  m_server.query("alter system set synchronous_standby_names = '*'");
  m_server.query("select pg_reload_conf()");
  useStore(std::string("postgresql://vorn:") + PostgresServer::kPassword + "@" + m_server.host() + "," +
           standby.host() +
           "/postgres?target_session_attrs=read-write&pool_size=" + std::to_string(Storm::kThreads));
  m_storm.rage(1, [&] {
    usleep(500000);
    m_server.stop(SIGQUIT);
    usleep(300000);
    standby.promote();
    return 1;
  });
  m_storm.expectOn(db);
  EXPECT_LT(m_storm.secondsWithoutWrite(), 20);
}

}  // namespace
