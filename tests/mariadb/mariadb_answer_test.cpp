#include <chrono>
#include <csignal>
#include <future>

#include "faults/Loopback.h"
#include "mariadb/MariaDbServer.h"
#include "store/store_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Every answer belongs to its question, whatever the server does in between.
class MariaDbAnswer : public StoreTest {
 protected:
  void SetUp() override { useStore(m_url + "?pool_size=2"); }

  const std::string m_url = sharedMariaDbServer().freshDatabase();
};

TEST_F(MariaDbAnswer, PeerThatSaysNothingHoldsNobody) {
  int port = 0;
  const int listener = listenOnLoopback(port);
  useStore("mariadb://me@127.0.0.1:" + std::to_string(port) + "/x?connect_timeout=1");
  const auto start = Clock::now();
  EXPECT_EQ(run(db, "select 1"), "mariadb 2013 CR_SERVER_LOST");
  EXPECT_LT(secondsSince(start), 3);
  close(listener);
}

TEST_F(MariaDbAnswer, ServerThatStandsStillHoldsNobodyBeyondTheLimit) {
  MariaDbServer server;
  useStore(server.freshDatabase() + "?read_timeout=1&connect_timeout=1");
  ASSERT_EQ(run(db, "create table t(n int)"), kSuccess);
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select seq, repeat('x', 300) from seq_1_to_900000"), reader), 0U);
  server.signal(SIGSTOP);
  const auto start = Clock::now();
  reader.clear();
  EXPECT_LT(secondsSince(start), 0.5);
  EXPECT_EQ(run(db, "insert into t values(1)"), "mariadb 2013 CR_SERVER_LOST");
  server.signal(SIGCONT);
  EXPECT_EQ(run(db, "insert into t values(2)"), kSuccess);
  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(run(db, "insert into t values(3)"), kSuccess);
  server.signal(SIGSTOP);
  EXPECT_EQ(run(db, "insert into t values(4)"), "vorn 15 CONNECTION_LOST");
  server.signal(SIGCONT);
  EXPECT_EQ(describe(db->commitTransaction()), "vorn 10 TRANSACTION_LOST");
  EXPECT_EQ(rowsOf(db, "select n from t where n > 1"), "2");
}

// The server sends rows as they are taken, and locks them meanwhile.
TEST_F(MariaDbAnswer, DeadlockUnderAnOpenReaderIsTheOutcomeOfTheEnd) {
  ASSERT_TRUE(vorn::bindStore("NeUpgradeDB", m_url).succeeded());
  MIRAsqlDB rival(true);
  ASSERT_EQ(run(db, "create table t(n int primary key, v longtext)"), kSuccess);
  ASSERT_EQ(run(db, "create table log(n int)"), kSuccess);
  ASSERT_EQ(run(db, "insert into t select seq, repeat('x', 100000) from seq_1_to_400"), kSuccess);
  for (const char* const end : {"commit", "given up, commit", "rollback"}) {
    std::promise<void> holds, opened;
    auto blocked = std::async(std::launch::async, [&] {
      rival.beginTransaction();
      std::string outcome = run(&rival, "insert into t select -seq, '' from seq_1_to_5000");
      outcome += run(&rival, "update t set v = '' where n = 399");
      holds.set_value();
      opened.get_future().wait();
      outcome += run(&rival, "update t set v = '' where n = 1");
      rival.rollbackTransaction();
      return outcome;
    });
    holds.get_future().wait();
    ASSERT_EQ(db->beginTransaction(), 0U);
    ASSERT_EQ(run(db, "insert into log values(1)"), kSuccess);
    CVORNReader reader;
    ASSERT_EQ(db->execReadSQL(raw("select v from t where n > 0 for update"), reader), 0U);
    opened.set_value();
    usleep(300000);
    if (end[0] == 'g') reader.clear();
    if (end[0] == 'r')
      EXPECT_EQ(run(db, end), kSuccess);
    else
      EXPECT_NE(db->commitTransaction(), 0U);
    EXPECT_EQ(blocked.get(), std::string(kSuccess) + kSuccess + kSuccess);
    EXPECT_EQ(rowsOf(db, "select count(*) from log"), "0");
  }
}

TEST_F(MariaDbAnswer, LimitsOfTheServerAreFailuresOfTheirOwn) {
  MariaDbServer server("max_connections=10\nmax_allowed_packet=1M\nmax_prepared_stmt_count=1\n");
  const std::string url = server.freshDatabase();
  useStore(url + "?pool_size=20");
  ASSERT_EQ(run(db, "create table t(n int primary key, v longtext)"), kSuccess);
  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(run(db, "insert into t values(1, 'x')"), kSuccess);
  const std::string tooLong = "insert into t values(2, '" + std::string(2000000, 'x') + "')";
  EXPECT_EQ(run(db, tooLong), "mariadb 1153 ER_NET_PACKET_TOO_LARGE");
  // Nothing is prepared where the server keeps no more.
  for (int n = 3; n < 6; ++n)
    EXPECT_EQ(run(db, "insert into t values(" + std::to_string(n) + ", 'y')"), kSuccess);
  for (int n = 3; n < 6; ++n)
    EXPECT_EQ(rowsOf(db, "select v from t where (n=" + std::to_string(n) + ")"), "y");
  EXPECT_EQ(describe(db->commitTransaction()), kSuccess);
  std::vector<std::future<std::string>> holding;
  for (int thread = 0; thread < 16; ++thread) {
    holding.push_back(std::async(std::launch::async, [this] { return run(db, "do sleep(0.5)"); }));
  }
  int refused = 0;
  for (auto& each : holding) {
    const std::string outcome = each.get();
    EXPECT_TRUE(outcome == kSuccess || outcome == "mariadb 1040 ER_CON_COUNT_ERROR") << outcome;
    refused += outcome == kSuccess ? 0 : 1;
  }
  EXPECT_GT(refused, 0);
  EXPECT_EQ(rowsOf(db, "select count(*) from t"), "4");
}

TEST_F(MariaDbAnswer, ServerThatOnlyReadsIsRead) {
  MariaDbServer server;
  const std::string url = server.freshDatabase();
  useStore(url);
  ASSERT_EQ(run(db, "create table t(n int)"), kSuccess);
  server.query(
      "create user reader identified by 'x'; grant all on store1.* to reader; set global read_only = 1");
  useStore("mariadb://reader:x@" + url.substr(url.find('@') + 1));
  EXPECT_EQ(rowsOf(db, "select count(*) from t"), "0");
  EXPECT_EQ(run(db, "insert into t values(1)"), "mariadb 1290 ER_OPTION_PREVENTS_STATEMENT");
  ASSERT_EQ(db->beginTransaction(), 0U);
  EXPECT_EQ(run(db, "insert into t values(1)"), "mariadb 1290 ER_OPTION_PREVENTS_STATEMENT");
  EXPECT_EQ(rowsOf(db, "select count(*) from t"), "0");
  EXPECT_EQ(describe(db->commitTransaction()), kSuccess);
}

TEST_F(MariaDbAnswer, EncryptedConnectionsAreCutAsOthers) {
  const TemporaryDirectory directory;
  const std::string own = directory.file("own");
  ASSERT_EQ(
      std::system((VORN_TEST_SOURCES "/postgres/make_certificate.sh " + own + " && chmod 644 " + own + ".key")
                      .c_str()),
      0);
  const MariaDbServer server("ssl_cert=" + own + "\nssl_key=" + own + ".key\n");
  useStore(server.url() + "?pool_size=1&ssl_ca=" + own);
  const auto killOthers = [&server] {
    server.query(
        "begin not atomic for c in (select id from information_schema.processlist where user = 'vorn' and id "
        "<> connection_id()) do kill c.id; end for; end");
    usleep(50000);
  };
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select seq, repeat('x', 300) from seq_1_to_900000"), reader), 0U);
  killOthers();
  reader.clear();
  ASSERT_EQ(rowsOf(db, "select 1"), "1");
  ASSERT_EQ(db->beginTransaction(), 0U);
  killOthers();
  EXPECT_EQ(run(db, "do 0"), "vorn 10 TRANSACTION_LOST");
  db->rollbackTransaction();
  EXPECT_EQ(rowsOf(db, "select seq from seq_1_to_3"), "1;2;3");
}

TEST_F(MariaDbAnswer, DeadlockUndoesOneOfTwo) {
  ASSERT_EQ(run(db, "create table t(n int primary key, v int)"), kSuccess);
  ASSERT_EQ(run(db, "insert into t values(1, 0), (2, 0)"), kSuccess);
  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(run(db, "update t set v = 1 where n = 1"), kSuccess);
  std::promise<void> holds;
  auto other = std::async(std::launch::async, [this, &holds] {
    db->beginTransaction();
    run(db, "update t set v = 2 where n = 2");
    holds.set_value();
    const std::string outcome = run(db, "update t set v = 2 where n = 1");
    return outcome + ", " +
           (outcome == kSuccess ? describe(db->commitTransaction()) : run(db, "update t set v = 9"));
  });
  holds.get_future().wait();
  const std::string ours = run(db, "update t set v = 1 where n = 2");
  const std::string lost = "mariadb 1213 ER_LOCK_DEADLOCK";
  const bool won = ours == kSuccess;
  EXPECT_EQ(describe(db->commitTransaction()), won ? kSuccess : "vorn 10 TRANSACTION_LOST");
  EXPECT_EQ(ours + "; " + other.get(), won ? kSuccess + "; " + lost + ", vorn 10 TRANSACTION_LOST"
                                           : lost + "; " + kSuccess + ", " + kSuccess);
  EXPECT_EQ(rowsOf(db, "select distinct v from t"), won ? "1" : "2");
}

TEST_F(MariaDbAnswer, ServerStartedAnewWhileIdleIsNotNoticed) {
  MariaDbServer server;
  useStore(server.freshDatabase() + "?connect_timeout=2");
  ASSERT_EQ(run(db, "create table t(n int)"), kSuccess);
  server.stop(SIGTERM);
  EXPECT_EQ(run(db, "insert into t values(1)"), "mariadb 2002 CR_CONNECTION_ERROR");
  server.start();
  EXPECT_EQ(run(db, "insert into t values(2)"), kSuccess);
  server.stop(SIGKILL);
  server.start();
  EXPECT_EQ(rowsOf(db, "select n from t"), "2");
}

TEST_F(MariaDbAnswer, ProcedureIsReadToItsEnd) {
  ASSERT_EQ(run(db, "create table t(n int)"), kSuccess);
  ASSERT_EQ(run(db,
                "create procedure p(fails int) begin select 1 union select 2; insert into t values(7); "
                "select 3; if "
                "fails then signal sqlstate '45000' set message_text = 'falsch'; end if; end"),
            kSuccess);
  EXPECT_EQ(rowsOf(db, "call p(0)"), "1;2");
  EXPECT_EQ(rowsOf(db, "call p(1)"), "mariadb 1644 ER_SIGNAL_EXCEPTION");
  EXPECT_EQ(run(db, "call p(0)"), kSuccess);
  EXPECT_EQ(rowsOf(db, "select n from t"), "7;7;7");
}

}  // namespace
