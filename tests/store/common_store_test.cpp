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
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
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
