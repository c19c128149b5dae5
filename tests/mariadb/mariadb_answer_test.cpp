#include <chrono>
#include <csignal>
#include <future>

#include "faults/Loopback.h"
#include "mariadb/MariaDbServer.h"
#include "store/store_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;

/// Every answer belongs to its question, whatever the server does in between.
class MariaDbAnswer : public StoreTest {
 protected:
  void SetUp() override { useStore(m_url + "?pool_size=2"); }

  const std::string m_url = sharedMariaDbServer().freshDatabase();
};

TEST_F(MariaDbAnswer, ServerThatStandsStillHoldsNobodyBeyondTheLimit) {
  MariaDbServer server;
  useStore(server.freshDatabase() + "?read_timeout=1&connect_timeout=1");
  ASSERT_EQ(run(db, "create table t(n int)"), kSuccess);
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select seq, repeat('x', 300) from seq_1_to_900000"), reader), 0U);
  server.signal(SIGSTOP);
  const auto start = Clock::now();
  reader.clear();
  EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(500));
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

// A packet is so small that a batch goes out in many pieces.
TEST_F(MariaDbAnswer, BatchOfManyPiecesIsKeptWholeOrNotAtAll) {
  MariaDbServer server("max_allowed_packet=32K\nmax_statement_time=1\n");
  useStore(server.freshDatabase() + "?pool_size=1");
  ASSERT_EQ(run(db, "create table t(n int primary key, v text)"), kSuccess);
  const auto send = [this](const std::string& last) {
    BatchInserter batch;
    batch.table("t");
    for (long row = 1; row <= 3000; ++row) {
      batch["n"] << row;
      batch["v"] << (row == 3000 ? last : std::string(100, 'x'));
    }
    return describe(db->ExecBatchInserter(batch));
  };
  const std::string count = "select count(*), max(length(v)) from t";
  ASSERT_EQ(send(std::string(31000, 'y')), kSuccess);
  EXPECT_EQ(rowsOf(db, count), "3000|31000");
  ASSERT_EQ(run(db, "delete from t"), kSuccess);
  ASSERT_EQ(run(db,
                "create trigger g before insert on t for each row begin"
                " if new.v = 'kill' then kill connection_id(); end if;"
                " if new.v = 'wait' then set @ignored = sleep(10); end if; end"),
            kSuccess);
  ASSERT_EQ(run(db, "insert into t values(0, 'first')"), kSuccess);
  const std::pair<std::string, std::string> failures[] = {
      {std::string(40000, 'y'), "mariadb 1153 ER_NET_PACKET_TOO_LARGE"},
      {"kill", "mariadb 1927 ER_CONNECTION_KILLED"},
      {"wait", "mariadb 1969 ER_STATEMENT_TIMEOUT"}};
  for (const auto& [last, failure] : failures) {
    for (const bool nested : {false, true}) {
      if (nested) {
        ASSERT_EQ(db->beginTransaction(), 0U);
        ASSERT_EQ(run(db, "insert into t values(-1, 'before')"), kSuccess);
      }
      EXPECT_EQ(send(last), failure) << nested;
      const bool lost = last == "kill";
      EXPECT_TRUE(!nested ||
                  describe(db->commitTransaction()) == (lost ? "vorn 10 TRANSACTION_LOST" : kSuccess));
      EXPECT_EQ(rowsOf(db, count), nested && !lost ? "2|6" : "1|5") << failure;
      run(db, "delete from t where n < 0");
    }
  }
  EXPECT_EQ(send("last"), kSuccess);
}

}  // namespace
