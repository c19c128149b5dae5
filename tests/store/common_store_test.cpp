#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <locale>
#include <tuple>

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

/// @return the real in plain notation
std::string plain(double real, int decimals) {
  char text[400];
  return {text, static_cast<std::size_t>(std::snprintf(text, sizeof text, "%.*f", decimals, real))};
}

TEST_P(CommonStore, KeepsEveryValueInEveryLocaleAloneAndInBatches) {
  std::string everyByte;
  for (int byte = 1; byte < 128; ++byte) everyByte += static_cast<char>(byte);
  const double highest = GetParam().keepsInfinity ? HUGE_VAL : DBL_MAX;
  const std::string highestText = GetParam().keepsInfinity ? "inf" : plain(DBL_MAX, 1);
  const std::tuple<std::string, double, std::string> values[] = {
      {"", 0.1, "''|0.1"},
      {" ", 0.0, " |0.0"},
      {everyByte, 1e308, everyByte + "|" + plain(1e308, 1)},
      {"''", 5e-324, "''|" + plain(5e-324, 324)},
      {"\\N", highest, "\\N|" + highestText},
      {"\\.", -highest, "\\.|-" + highestText},
      {"NULL", 1.0 / 3, "NULL|0.3333333333333333"},
      {"\\", 1e22, "\\|10000000000000000000000.0"},
      {"\xf0\x9f\x98\x80", 3, "\xf0\x9f\x98\x80|3.0"},
      {"{a}; --", 1e15, "{a}; --|1000000000000000.0"},
      {"  blanks\nlead", -1e-7, "  blanks\nlead|-0.0000001"}};
  setenv("LOCPATH", VORN_TEST_LOCALES, 1);
  std::locale::global(std::locale("de_DE.UTF-8"));
  ASSERT_STREQ(std::localeconv()->decimal_point, ",");
  std::string more;
  for (int column = 0; column < 95; ++column) more += ", c" + std::to_string(column) + " int";
  // How the rows go to the store depends on their number and on the column's type.
  const std::pair<std::string, int> ways[] = {{"bigint", 1}, {"bigint", 200}, {"numeric(20)", 200}};
  for (const auto& [type, times] : ways) {
    run(db, "drop table extreme");
    ASSERT_EQ(run(db, "create table extreme (r int, a " + type +
                          ", \"c{d}\" varchar(200), b double precision, e real" + more + ")"),
              kSuccess);
    BatchInserter batch;
    batch.table("extreme");
    std::string expected;
    for (int row = 0; row < 11 * times; ++row) {
      const auto& [text, real, read] = values[row % 11];
      const long number = row % 2 == 0 ? LONG_MAX : LONG_MIN;
      batch["r"] << row;
      batch["a"] << number;
      batch["\"c{d}\""] << text;
      batch["b"] << real;
      batch["e"] << 0.25F * static_cast<float>(row);
      for (int column = 0; column < 95; ++column) batch["c" + std::to_string(column)] << column * 1000 + row;
      expected += std::to_string(number) + "|" + read + "|" + std::to_string(row) + "|" +
                  std::to_string(94000 + row) + ";";
    }
    ASSERT_EQ(describe(db->ExecBatchInserter(batch)), kSuccess);
    const std::string found =
        rowsOf(db, "select a, \"c{d}\", b, cast(e * 4 as int), c94 from extreme order by r");
    EXPECT_TRUE(found + ";" == expected) << type << times << found.substr(0, 4000);
  }
  for (const auto& [text, real, read] : values) {
    CVORNInserter inserter;
    inserter.table("extreme");
    inserter["r"]["\"c{d}\""]["b"] << -1 << text << -1234567.5;
    ASSERT_EQ(db->execWriteSQL(inserter), 0U) << text;
    EXPECT_EQ(rowsOf(db, "select \"c{d}\", b from extreme where r = -1"),
              read.substr(0, read.rfind('|')) + "|-1234567.5");
    ASSERT_EQ(run(db, "delete from extreme where r = -1"), kSuccess);
  }
  CVORNReader reader;
  EXPECT_EQ(db->execReadSQL(raw("select '2.75 '"), reader), 0U);
  double fromText = 0;
  reader >> fromText;
  EXPECT_EQ(fromText, 2.75);
  std::locale::global(std::locale::classic());
  EXPECT_EQ(run(db, std::string("delete from t\0", 14)), "vorn 5 EMBEDDED_NUL");
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
