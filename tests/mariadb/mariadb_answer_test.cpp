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

}  // namespace
