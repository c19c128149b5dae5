#include <libpq-fe.h>

#include "faults/CuttingProxy.h"
#include "faults/Storm.h"
#include "postgres/PostgresServer.h"
#include "store/store_fixture.h"

namespace {

/// On a server of its own, under load.
class PostgresStorm : public StoreTest {
 protected:
  void SetUp() override {
    alarm(300);  // a hang ends the process
    vorn::setLogSink([](const vorn::LogRecord&) {});
    use(m_server.url());
    ASSERT_EQ(run(db, "create table t(n bigint, v bigint)"), kSuccess);
    ASSERT_EQ(run(db, "create table r as select generate_series(1, " + std::to_string(Storm::kReadRows) + ") n"), kSuccess);
  }

  void TearDown() override {
    StoreTest::TearDown();
    alarm(0);
  }

  void use(const std::string& url) {
    useStore(url + "?pool_size=" + std::to_string(Storm::kThreads) + "&sslmode=disable&gssencmode=disable");
  }

  /// Calls a function of the server on a random one of the library's backends, after a pause. @return how many were met
  int strike(unsigned longestPause, const std::string& function, const std::string& condition) {
    usleep(static_cast<unsigned>(m_random() % longestPause));
    const std::string sql = "select " + function +
                            "(pid) from (select pid from pg_stat_activity where backend_type = 'client backend' and "
                            "pid <> pg_backend_pid() and " +
                            condition + " order by random() limit 1) as x";
    const std::unique_ptr<PGresult, void (*)(PGresult*)> result(PQexec(m_harmer.get(), sql.c_str()), PQclear);
    return PQntuples(result.get()) == 1 && *PQgetvalue(result.get(), 0, 0) == 't' ? 1 : 0;
  }

  void expectLedger() {
    use(m_server.url());
    m_storm.ledger().expectIn(rowsOf(db, Ledger::kQuery, Ledger::kColumns));
  }

  unsigned m_seed = testSeed();
  std::mt19937 m_random{m_seed};
  PostgresServer m_server{"max_connections=40\n"};
  std::unique_ptr<PGconn, void (*)(PGconn*)> m_harmer{PQconnectdb(m_server.url().c_str()), PQfinish};
  Storm m_storm{m_seed, [](const std::string& failure) { return failure == "postgresql 57014 query_canceled"; }};
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
  {
    const std::string host = m_server.host();
    CuttingProxy proxy(std::stoi(host.substr(host.find(':') + 1)), m_seed);
    std::string url = m_server.url();
    use(url.replace(url.find(host), host.size(), "127.0.0.1:" + std::to_string(proxy.port())));
    int seen = 0;
    m_storm.rage(250, [&] {
      usleep(1000);
      const int before = seen;
      seen = proxy.cuts();
      if (seen >= 250) proxy.calm();
      return seen - before;
    });
    vorn::unbindStores();
  }
  expectLedger();
}

}  // namespace
