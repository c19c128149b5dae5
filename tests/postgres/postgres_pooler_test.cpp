#include <libpq-fe.h>
#include <sys/wait.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <thread>

#include "postgres/PostgresServer.h"
#include "store/store_fixture.h"

namespace {

/// Behind PgBouncer, which gives each transaction another connection to the server.
class PostgresPooler : public StoreTest {
 protected:
  void SetUp() override {
    const std::string host = m_server.host();
    const std::size_t colon = host.find(':');
    std::ofstream(m_directory.file("pgbouncer.ini"))
        << "[databases]\n* = host=" << host.substr(0, colon) << " port=" << host.substr(colon + 1)
        << " user=vorn password='geheim &wort'\n[pgbouncer]\npool_mode=transaction\nauth_type=any\n"
        << "default_pool_size=3\nlisten_addr=127.0.0.1\nunix_socket_dir=\n"
        << "listen_port=" << m_port << "\n";
    m_pooler = startProgram(m_directory, {"pgbouncer", m_directory.file("pgbouncer.ini")});
    for (int look = 0; PQping(m_url.c_str()) != PQPING_OK && look < 1000; ++look) usleep(10000);
    useStore(m_url + "?pool_size=4");
  }

  void TearDown() override {
    StoreTest::TearDown();
    kill(m_pooler, SIGINT);
    waitpid(m_pooler, nullptr, 0);
  }

  const PostgresServer m_server;
  const TemporaryDirectory m_directory;
  const int m_port = freePort();
  const std::string m_url = "postgresql://vorn@127.0.0.1:" + std::to_string(m_port) + "/postgres";
  pid_t m_pooler = -1;
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
