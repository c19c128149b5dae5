#include <climits>
#include <clocale>

#include "faults/HarmTest.h"
#include "faults/Storm.h"

namespace {

class CommonStore : public HarmTest, public testing::WithParamInterface<StoreKind> {
 protected:
  void SetUp() override {
    m_url = GetParam().freshUrl();
    prepare(m_url);
  }

  std::string m_url;
};

TEST_P(CommonStore, KeepsRealsInEveryLocaleAloneAndInBatches) {
  setenv("LOCPATH", VORN_TEST_LOCALES, 1);
  ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
  ASSERT_STREQ(std::localeconv()->decimal_point, ",");
  const CommaLocale comma;
  ASSERT_EQ(run(db, "create table reals(n bigint, d double precision)"), kSuccess);
  // How the rows go to the store depends on their number.
  for (const long rows : {1, 2, 200}) {
    BatchInserter batch;
    batch.table("reals");
    std::string expected;
    for (long row = 0; row < rows; ++row) {
      batch["n"] << LONG_MAX - row;
      batch["d"] << 1234567.25 - static_cast<double>(row % 2);
      expected += (row == 0 ? "" : ";") + std::string(row % 2 == 0 ? "1234567.25" : "1234566.25");
    }
    ASSERT_EQ(describe(db->ExecBatchInserter(batch)), kSuccess);
    EXPECT_EQ(rowsOf(db, "select d from reals order by n desc"), expected);
    ASSERT_EQ(run(db, "delete from reals"), kSuccess);
  }
  CVORNInserter inserter;
  inserter.table("reals");
  inserter["d"] << -1234567.5;
  ASSERT_EQ(db->execWriteSQL(inserter), 0U);
  CVORNReader reader;
  EXPECT_EQ(db->execReadSQL(raw("select d, '2.75 ' from reals"), reader), 0U);
  double real = 0, fromText = 0;
  reader >> real >> fromText;
  EXPECT_TRUE(real == -1234567.5 && fromText == 2.75) << real << ' ' << fromText;
  std::setlocale(LC_ALL, "C");
}

TEST_P(CommonStore, ThreadsDoNotDisturbEachOther) {
  Storm storm(testSeed());
  storm.workInPeace();
  storm.expectOn(db);
}

TEST_P(CommonStore, PoolServesThreadsInTheirTurn) {
  useStore(m_url + "?pool_size=1&acquire_timeout_ms=20000");
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select 1"), reader), 0U);
  std::vector<std::future<std::string>> waiting;
  for (const char* turn : {"0", "1", "2", "3"}) {
    const std::string sql = std::string("insert into t select 10 * count(*) + ") + turn + ", 0 from t";
    waiting.push_back(std::async(std::launch::async, [this, sql] { return run(db, sql); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  reader.clear();
  for (auto& each : waiting) EXPECT_EQ(each.get(), kSuccess);
  EXPECT_EQ(rowsOf(db, "select n from t order by n"), "0;11;22;33");
}

#ifdef VORN_TEST_ALARM_SERVICE
TEST_P(CommonStore, RunsTheAlarmService) {
  EXPECT_EQ(std::system(("VORN_STORE_DEFAULT='" + m_url + "' " VORN_TEST_ALARM_SERVICE).c_str()), 0);
}
#endif

INSTANTIATE_TEST_SUITE_P(Stores, CommonStore, testing::ValuesIn(storeKinds()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace
