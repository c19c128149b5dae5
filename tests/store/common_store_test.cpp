#include <climits>
#include <clocale>
#include <cmath>
#include <tuple>

#include "faults/HarmTest.h"
#include "faults/Storm.h"

namespace {

using vorn::LogLevel;

class CommonStore : public StoreTest, public testing::WithParamInterface<StoreKind> {
 protected:
  void SetUp() override {
    m_url = GetParam().freshUrl();
    useStore(m_url);
    ASSERT_EQ(run(db, "create table alarm (id bigint primary key, name varchar(200) unique, level int, ratio double precision)"), kSuccess);
  }

  std::string count() { return rowsOf(db, "select count(*) from alarm"); }

  /// Inserts one row through the inserter.
  template <typename Name>
  unsigned long insert(long id, const Name& name, int level = 1, double ratio = 0.5) {
    CVORNInserter inserter;
    inserter.table("alarm");
    inserter["id"]["name"]["level"]["ratio"] << id << name << level << ratio;
    return db->execWriteSQL(inserter);
  }

  static BatchInserter batchOf(long first, long rows) {
    BatchInserter batch;
    batch.table("alarm");
    for (long row = 0; row < rows; ++row) {
      batch["id"] << first + row;
      batch["name"] << "n" + std::to_string(first + row);
      batch["level"] << static_cast<int>(row % 7);
      batch["ratio"] << static_cast<double>(row) * 0.25;
    }
    return batch;
  }

  std::string m_url;
};

TEST_P(CommonStore, Scenarios) {
  runScenarios("store/scenarios.txt", [this] {
    SetUp();
    ASSERT_TRUE(vorn::bindStore("NeUpgradeDB", GetParam().freshUrl()).succeeded());
  });
  EXPECT_NE(log.texts(LogLevel::Info).find("open transaction of session 'default'"), std::string::npos);
  EXPECT_EQ(run(db, std::string("delete from alarm\0", 18)), "vorn 5 EMBEDDED_NUL");
}

TEST_P(CommonStore, KeepsEveryValueThroughInserterAndReaderInEveryLocale) {
  setenv("LOCPATH", VORN_TEST_LOCALES, 1);
  ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
  ASSERT_STREQ(std::localeconv()->decimal_point, ",");
  const CommaLocale comma;
  std::string expected;
  long id = LONG_MIN + 1;
  for (const std::string text :
       {"plain", "it's", "''", "a;b--c", "{id}", "%_\\", "\xc3\xa4\xe2\x82\xac", "line\nbreak", "  two blanks lead"}) {
    EXPECT_EQ(insert(id, text), 0U);
    expected += std::to_string(id++) + "|" + text + "|1|0.5;";
  }
  EXPECT_EQ(insert(1, CVORNNull(), true, -0.25), 0U);
  EXPECT_EQ(db->ExecBatchInserter(batchOf(1234567, 1)), 0U);
  EXPECT_EQ(insert(LONG_MAX, std::string(200, 'x'), INT_MIN, -1234567.5), 0U);
  expected += "1|~|1|-0.25;1234567|n1234567|0|0.0;9223372036854775807|" + std::string(200, 'x') + "|-2147483648|-1234567.5";
  EXPECT_EQ(rowsOf(db, "select id, name, level, ratio from alarm order by id", 4), expected);
  EXPECT_TRUE(vorn::lastResult().succeeded());

  CVORNReader reader;
  EXPECT_EQ(db->execReadSQL(raw("select ratio, '2.75 ' from alarm where level < 0"), reader), 0U);
  double ratio = 0, fromText = 0;
  reader >> ratio >> fromText;
  std::setlocale(LC_ALL, "C");
  EXPECT_TRUE(ratio == -1234567.5 && fromText == 2.75) << ratio << fromText;
}

TEST_P(CommonStore, OpenReadersShowTheRowsAsOpenedWhateverIsWrittenBetween) {
  ASSERT_EQ(db->ExecBatchInserter(batchOf(1, 300)), 0U);
  CVORNReader forward, backward;
  ASSERT_EQ(db->execReadSQL(raw("select id from alarm order by id"), forward), 0U);
  ASSERT_EQ(db->execReadSQL(raw("select id from alarm order by id desc"), backward), 0U);
  ASSERT_EQ(onAnotherThread([this] { return insert(9999, "from elsewhere"); }), 0U);
  ASSERT_EQ(count(), "301") << "a new reader sees what others have committed";
  for (long step = 1; step <= 300; ++step) {
    long up = 0, down = 0;
    ASSERT_TRUE(forward.hasNextElement() && backward.hasNextElement()) << step;
    forward >> up, backward >> down;
    ASSERT_TRUE(up == step && down == 301 - step) << up << " and " << down;
    ASSERT_EQ(insert(1000 + step, "w" + std::to_string(step)), 0U);
    if (step == 150) { ASSERT_EQ(run(db, "delete from alarm where id <= 300"), kSuccess); }
  }
  EXPECT_FALSE(forward.hasNextElement() || backward.hasNextElement());
}

/// @return the real in plain notation
std::string plain(double real, int decimals) {
  char text[400];
  return {text, static_cast<std::size_t>(std::snprintf(text, sizeof text, "%.*f", decimals, real))};
}

TEST_P(CommonStore, BatchKeepsHostileTextsAndExtremeNumbersOnEveryRoad) {
  std::string everyByte;
  for (int byte = 1; byte < 128; ++byte) everyByte += static_cast<char>(byte);
  const std::tuple<std::string, double, std::string> values[] = {{"", 0.1, "~|0.1"},
                                                                 {" ", 0.0, "~|0.0"},
                                                                 {everyByte, 1e308, everyByte + "|" + plain(1e308, 1)},
                                                                 {"''", 5e-324, "''|" + plain(5e-324, 324)},
                                                                 {"\\N", HUGE_VAL, "\\N|inf"},
                                                                 {"\\.", -HUGE_VAL, "\\.|-inf"},
                                                                 {"NULL", 1.0 / 3, "NULL|0.3333333333333333"},
                                                                 {"\\", 1e22, "\\|10000000000000000000000.0"},
                                                                 {"\xf0\x9f\x98\x80", 3, "\xf0\x9f\x98\x80|3.0"},
                                                                 {"{a}", 1e15, "{a}|1000000000000000.0"},
                                                                 {"\"", -1e-7, "\"|-0.0000001"}};
  std::string more;
  for (int column = 0; column < 95; ++column) more += ", c" + std::to_string(column) + " int";
  const std::pair<const char*, int> roads[] = {{"bigint", 1}, {"bigint", 200}, {"numeric", 200}};
  for (const auto& [type, times] : roads) {
    run(db, "drop table extreme");
    ASSERT_EQ(
        run(db, "create table extreme (r int, a " + std::string(type) + ", \"c{d}\" varchar(200), b double precision, e real" + more + ")"),
        kSuccess);
    BatchInserter batch;
    batch.table("extreme");
    std::string expected;
    for (int row = 0; row < 11 * times; ++row) {
      const auto& [text, real, read] = values[row % 11];
      batch["r"] << row, batch["a"] << (row % 2 == 0 ? LONG_MAX : LONG_MIN), batch["\"c{d}\""] << text, batch["b"] << real;
      batch["e"] << 0.25F * static_cast<float>(row);
      for (int column = 0; column < 95; ++column) batch["c" + std::to_string(column)] << column * 1000 + row;
      expected.append(row == 0 ? "" : ";").append(row % 2 == 0 ? "9223372036854775807|" : "-9223372036854775808|");
      expected += read + "|" + std::to_string(row) + "|" + std::to_string(94000 + row);
    }
    ASSERT_EQ(describe(db->ExecBatchInserter(batch)), kSuccess);
    EXPECT_EQ(rowsOf(db, "select a, \"c{d}\", b, cast(e * 4 as int), c94 from extreme order by r", 5), expected) << type << times;
  }
}

TEST_P(CommonStore, MillionRowsPassInConstantMemory) {
  expectConstantMemory("with recursive t(n) as (select 1 union all select n + 1 from t where n < 1000000) select n from t", 1000000);
}

TEST_P(CommonStore, ReadThatBreaksOffIsToldFromACleanEnd) {
  for (const bool fromMemory : {false, true}) {
    CVORNReader reader;
    ASSERT_EQ(db->execReadSQL(raw("with recursive t(n) as (select -500 union all select n + 1 from t where n < 1) "
                                  "select abs(-9223372036854775807 - n) from t"),
                              reader),
              0U);
    ASSERT_TRUE(reader.hasNextElement());
    if (fromMemory) { ASSERT_EQ(insert(1, "moves the rows"), 0U); }
    int rows = 1;
    while (vorn::lastResult().succeeded() && reader.hasNextElement()) ++rows;
    EXPECT_EQ(rows, 501);
    const std::string outcome = describe(vorn::lastResult().errorCode());
    EXPECT_TRUE(outcome == "sqlite 1 SQLITE_ERROR" || outcome == "postgresql 22003 numeric_value_out_of_range") << outcome;
    EXPECT_NE(log.texts(LogLevel::Error).find("reading rows broke off"), std::string::npos);
    EXPECT_NE(db->execReadSQL(raw("select x from nowhere"), reader), 0U);
    EXPECT_FALSE(reader.hasNextElement());
  }
}

TEST_P(CommonStore, ThreadsDoNotDisturbEachOther) {
  ASSERT_EQ(run(db, "drop table alarm"), kSuccess);
  ASSERT_EQ(run(db, "create table t(n bigint, v bigint)"), kSuccess);
  ASSERT_EQ(run(db, "create table r(n bigint)"), kSuccess);
  const std::string rows = std::to_string(HarmTest::kReadRows);
  ASSERT_EQ(run(db, "insert into r with recursive c(n) as (select 1 union all select n + 1 from c where n < " + rows + ") select n from c"),
            kSuccess);
  Storm storm(testSeed(), [](const std::string&) { return false; });
  storm.rage(1, [] { return sleep(1), 1; });
  storm.ledger().expectIn(rowsOf(db, Ledger::kQuery, Ledger::kColumns));
  EXPECT_EQ(log.texts(LogLevel::Info) + log.texts(LogLevel::Error), "") << "no failure was logged";
}

TEST_P(CommonStore, PoolIsBoundedServesInTurnAndNamesItsFailure) {
  const auto elsewhere = [this] { return onAnotherThread([this] { return run(db, "select 1"); }); };
  useStore(m_url + "?pool_size=1&acquire_timeout_ms=200");
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select 1"), reader), 0U);
  EXPECT_EQ(elsewhere(), "vorn 3 POOL_EXHAUSTED");
  EXPECT_EQ(run(db, "select 1"), kSuccess) << "the thread that holds the connection shares it";
  reader.clear();
  EXPECT_EQ(elsewhere(), kSuccess);

  useStore(m_url + "?pool_size=1&acquire_timeout_ms=20000");
  ASSERT_EQ(db->execReadSQL(raw("select 1"), reader), 0U);
  std::vector<std::future<void>> waiting;
  for (const std::string turn : {"0", "1", "2", "3"}) {
    waiting.push_back(std::async(
        std::launch::async, [this, turn] { run(db, "insert into alarm (id, level) select 10 * count(*) + " + turn + ", 0 from alarm"); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  reader.clear();
  waiting.clear();
  EXPECT_EQ(rowsOf(db, "select id from alarm order by id"), "0;11;22;33");
}

TEST_P(CommonStore, StatisticsCountCallsFailuresAndRows) {
  const auto figures = [] {
    vorn::StatementStatistics sum{};
    for (const auto& each : vorn::statementStatistics()) { sum.calls += each.calls, sum.failures += each.failures, sum.rows += each.rows; }
    return sum;
  };
  const vorn::StatementStatistics before = figures();
  ASSERT_EQ(insert(1, "a"), 0U);
  ASSERT_EQ(onAnotherThread([this] { return insert(2, "b"); }), 0U);
  ASSERT_NE(insert(2, "c"), 0U);
  ASSERT_EQ(db->ExecBatchInserter(batchOf(10, 5)), 0U);
  ASSERT_NE(db->ExecBatchInserter(batchOf(8, 5)), 0U);
  const vorn::StatementStatistics after = figures();
  EXPECT_EQ(after.calls - before.calls, 5U);
  EXPECT_EQ(after.failures - before.failures, 2U);
  EXPECT_EQ(after.rows - before.rows, 7U) << "a batch that was undone has written nothing";
}

INSTANTIATE_TEST_SUITE_P(Stores, CommonStore, testing::ValuesIn(storeKinds()), [](const auto& kind) { return kind.param.name; });

}  // namespace
