#include <libpq-fe.h>

#include <atomic>
#include <fstream>
#include <thread>

#include "postgres/PostgresServer.h"
#include "store/store_fixture.h"

namespace {

/// Behind PgBouncer, which gives each transaction another connection to the server.
class PostgresPooler : public StoreTest {
 protected:
  void SetUp() override {
    std::ofstream(m_pooler.file("pgbouncer.ini"))
        << "[databases]\n* = host=127.0.0.1 port=" << m_server.port() << " user=vorn password='"
        << PostgresServer::kPlainPassword << "'\n[pgbouncer]\npool_mode=transaction\nauth_type=any\n"
        << "default_pool_size=3\nlisten_addr=127.0.0.1\nunix_socket_dir=\n"
        << "listen_port=" << m_port << "\n";
    m_pooler.launch({VORN_POSTGRES_PROGRAMS, m_pooler.file(""), "pgbouncer", m_pooler.file("pgbouncer.ini")});
    TestProgram::comesTrue(std::chrono::seconds(10), [this] { return PQping(m_url.c_str()) == PQPING_OK; });
    useStore(m_url + "?pool_size=4");
  }

  const PostgresServer m_server;
  const int m_port = freeLoopbackPort();
  const std::string m_url = "postgresql://vorn@127.0.0.1:" + std::to_string(m_port) + "/postgres";
  TestProgram m_pooler;
};

TEST_F(PostgresPooler, NoStatementFailsForWantOfItsPreparation) {
  constexpr int kThreads = 4, kRounds = 200;
  ASSERT_EQ(run(db, "create table t(n int, v text)"), kSuccess);
  std::atomic<int> failures = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&failures, thread] {
      MIRAsqlDB own(false);
      const auto expect = [&failures](const std::string& outcome, const std::string& expected) {
        if (outcome != expected && ++failures < 5) ADD_FAILURE() << outcome;
      };
      for (int round = 0; round < kRounds; ++round) {
        const std::string key = "(n=" + std::to_string(thread * kRounds + round) + ")";
        const bool inTransaction = round % 2 == 1;
        if (inTransaction) expect(describe(own.beginTransaction()), kSuccess);
        expect(run(&own, "insert into t values" + replaced(replaced(key, "n=", ""), ")", ",'a')")), kSuccess);
        expect(run(&own, "update t set v='b' where " + key), kSuccess);
        expect(rowsOf(&own, "select v from t where " + key), "b");
        if (inTransaction) expect(describe(own.commitTransaction()), kSuccess);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(rowsOf(db, "select v, count(*) from t group by v"), "b|" + std::to_string(kThreads * kRounds));
}

}  // namespace
