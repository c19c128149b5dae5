#include <libpq-fe.h>

#include <fstream>

#include "faults/StormTest.h"
#include "postgres/PostgresServer.h"

namespace {

class PostgresStorm : public StormTest {
 protected:
  void SetUp() override {
    m_url = m_server.url();
    m_options = "&sslmode=disable&gssencmode=disable";
    prepare(m_url);
  }

  int strike(const std::string& verb, const std::string& condition) override {
    const std::string sql =
        "select " + verb +
        "(pid) from (select pid from pg_stat_activity where backend_type = 'client backend' and "
        "pid <> pg_backend_pid() and " +
        condition + " order by random() limit 1) as x";
    const std::unique_ptr<PGresult, void (*)(PGresult*)> result(PQexec(m_harmer.get(), sql.c_str()), PQclear);
    return PQntuples(result.get()) == 1 && *PQgetvalue(result.get(), 0, 0) == 't' ? 1 : 0;
  }
  int strikingSocket() override { return PQsocket(m_harmer.get()); }

  PostgresServer m_server{"max_connections=40\n"};
  std::unique_ptr<PGconn, void (*)(PGconn*)> m_harmer{PQconnectdb(m_server.url().c_str()), PQfinish};
};

TEST_F(PostgresStorm, FiveHundredCancellations) {
  rage(500, 1000, [this] {
    // A copy is the answer to a cancellation that has the most states.
    const std::string which = m_random() % 2 == 0 ? "" : " and query ilike 'copy%'";
    return strike("pg_cancel_backend", "state = 'active'" + which);
  });
}

TEST_F(PostgresStorm, FiveHundredCutConnections) {
  rage(250, 20000, [this] { return strike("pg_terminate_backend", "true"); });
  rage(250, 20000, [this] { return cutOne(m_server.port()) ? 1 : 0; });
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

/// Behind PgBouncer, which gives each transaction another connection to the server.
class PostgresPooler : public HarmTest {
 protected:
  void SetUp() override {
    std::ofstream(m_pooler.file("pgbouncer.ini"))
        << "[databases]\n* = host=127.0.0.1 port=" << m_server.port() << " user=vorn password='"
        << PostgresServer::kPlainPassword << "'\n[pgbouncer]\npool_mode=transaction\nauth_type=any\n"
        << "default_pool_size=3\nlisten_addr=127.0.0.1\nunix_socket_dir=\n"
        << "listen_port=" << m_port << "\n";
    m_pooler.launch({VORN_POSTGRES_PROGRAMS, m_pooler.file(""), "pgbouncer", m_pooler.file("pgbouncer.ini")});
    TestProgram::comesTrue(std::chrono::seconds(10), [this] { return PQping(m_url.c_str()) == PQPING_OK; });
    prepare(m_url + "?pool_size=" + std::to_string(Storm::kThreads));
  }

  const PostgresServer m_server;
  const int m_port = freeLoopbackPort();
  const std::string m_url = "postgresql://vorn@127.0.0.1:" + std::to_string(m_port) + "/postgres";
  TestProgram m_pooler;
};

TEST_F(PostgresPooler, NoStatementFailsForWantOfItsPreparation) {
  Storm storm(testSeed());
  storm.workInPeace();
  storm.expectOn(db);
}

}  // namespace
