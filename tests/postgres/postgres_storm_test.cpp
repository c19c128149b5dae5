#include <libpq-fe.h>

#include <fstream>

#include "faults/HarmTest.h"
#include "faults/Storm.h"
#include "postgres/PostgresServer.h"

namespace {

class PostgresStorm : public HarmTest {};

TEST_F(PostgresStorm, AcknowledgedRowsSurviveThePrimary) {
  PostgresServer primary;
  const PostgresServer standby(primary, "");
  primary.query("alter system set synchronous_standby_names = '*'");
  primary.query("select pg_reload_conf()");
  prepare(replaced(primary.url(), primary.host(), primary.host() + "," + standby.host()) +
          "?target_session_attrs=read-write&pool_size=" + std::to_string(Storm::kThreads));
  Storm storm(testSeed());
  storm.rage(1, [&] {
    usleep(500000);
    primary.stop(SIGQUIT);
    usleep(300000);
    standby.promote();
    return 1;
  });
  storm.expectOn(db);
  EXPECT_LT(storm.secondsWithoutWrite(), 20);
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
