#include <future>

#include "postgres/PostgresServer.h"
#include "store/store_fixture.h"

namespace {

/// Every answer belongs to its question, whatever the server does in between.
class PostgresAnswer : public StoreTest {
 protected:
  void SetUp() override { useStore(m_url + "?pool_size=2"); }

  const std::string m_url = sharedPostgresServer().freshDatabase();
};

TEST_F(PostgresAnswer, BatchSeesWhatWasCommittedWhileItWaited) {
  ASSERT_EQ(run(db, "create table t(n bigint not null, v bigint)"), kSuccess);
  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(run(db, "lock table t in access exclusive mode"), kSuccess);
  auto batch =
      std::async(std::launch::async, [this] { return describe(db->ExecBatchInserter(numbers(3000))); });
  while (sharedPostgresServer().query("select count(*) from pg_locks where not granted") == "0") usleep(1000);
  ASSERT_EQ(run(db, "create rule x as on insert to t do instead nothing"), kSuccess);
  ASSERT_EQ(db->commitTransaction(), 0U);
  EXPECT_EQ(batch.get(), kSuccess);
  EXPECT_EQ(rowsOf(db, "select count(*) from t"), "0");
}

TEST_F(PostgresAnswer, NotificationsAreTakenWhileTheConnectionIsHeld) {
  CVORNReader holding;
  ASSERT_EQ(db->execReadSQL(raw("select 1"), holding), 0U);
  ASSERT_EQ(run(db, "listen news"), kSuccess);
  const std::string sql = "select pg_notify('news', repeat('x', 7900) || n) from generate_series(1, 100) n";
  const long before = residentKilobytes();
  for (int round = 0; round < 20; ++round) {
    sharedPostgresServer().query(sql, m_url.substr(m_url.rfind('/') + 1));
    ASSERT_EQ(rowsOf(db, "select 1"), "1");
  }
  EXPECT_LT(residentKilobytes() - before, 8192);
}

}  // namespace
