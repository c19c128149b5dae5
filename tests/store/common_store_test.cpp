#include <sys/resource.h>

#include <atomic>
#include <climits>
#include <clocale>
#include <cmath>
#include <tuple>

#include "store/store_fixture.h"

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
  EXPECT_EQ(db->execReadSQL(raw("select id, ratio, '2.75 ' from alarm where level < 0"), reader), 0U);
  long largest = 0;
  double ratio = 0, fromText = 0;
  reader >> largest >> ratio >> fromText;
  std::setlocale(LC_ALL, "C");
  EXPECT_EQ(largest, LONG_MAX);
  EXPECT_EQ(ratio, -1234567.5);
  EXPECT_EQ(fromText, 2.75);
}

TEST_P(CommonStore, OpenReadersShowTheRowsAsOpenedWhateverIsWrittenBetween) {
  ASSERT_EQ(db->ExecBatchInserter(batchOf(1, 300)), 0U);
  ASSERT_EQ(run(db, "update alarm set name = null where id = 200"), kSuccess);
  CVORNReader forward, backward;
  ASSERT_EQ(db->execReadSQL(raw("select id, name, ratio from alarm order by id"), forward), 0U);
  ASSERT_EQ(db->execReadSQL(raw("select id from alarm order by id desc"), backward), 0U);
  for (long step = 1; step <= 300; ++step) {
    long up = 0, down = 0;
    std::string name;
    double ratio = -1;
    CVORNNull null;
    ASSERT_TRUE(forward.hasNextElement() && backward.hasNextElement()) << step;
    forward >> up >> null >> name >> ratio;
    backward >> down;
    ASSERT_EQ(null ? "" : name, step == 200 ? "" : "n" + std::to_string(step));
    ASSERT_EQ(ratio, static_cast<double>(step - 1) * 0.25);
    ASSERT_TRUE(up == step && down == 301 - step) << up << " and " << down;
    ASSERT_EQ(insert(1000 + step, "w" + std::to_string(step)), 0U);
    if (step == 150) { ASSERT_EQ(run(db, "delete from alarm where id <= 300"), kSuccess); }
  }
  EXPECT_FALSE(forward.hasNextElement() || backward.hasNextElement());
  EXPECT_EQ(count(), "300");
}

/// @return the real in plain notation
std::string plain(double real, int decimals) {
  char text[400];
  return {text, static_cast<std::size_t>(std::snprintf(text, sizeof text, "%.*f", decimals, real))};
}

TEST_P(CommonStore, BatchKeepsHostileTextsExtremeNumbersAndOneHundredColumns) {
  const std::tuple<std::string, double, std::string> values[] = {{"", 0.1, "~|0.1"},
                                                                 {" ", 0.0, "~|0.0"},
                                                                 {"'", 1e308, "'|" + plain(1e308, 1)},
                                                                 {"''", 5e-324, "''|" + plain(5e-324, 324)},
                                                                 {"\\N", HUGE_VAL, "\\N|inf"},
                                                                 {"\\.", -HUGE_VAL, "\\.|-inf"},
                                                                 {"a\tb\nc\rd", 1.0 / 3, "a\tb\nc\rd|0.3333333333333333"},
                                                                 {"\\", 1e22, "\\|10000000000000000000000.0"},
                                                                 {"\xe2\x82\xac", 3, "\xe2\x82\xac|3.0"},
                                                                 {"{a}", 1e15, "{a}|1000000000000000.0"},
                                                                 {"\"", -1e-7, "\"|-0.0000001"}};
  std::string columns = "a bigint, \"c{d}\" varchar(100), b double precision, e real", expected;
  for (int column = 4; column < 100; ++column) columns += ", c" + std::to_string(column) + " int";
  ASSERT_EQ(run(db, "create table extreme (" + columns + ")"), kSuccess);
  BatchInserter batch;
  batch.table("extreme");
  for (const auto& [text, real, read] : values) {
    batch["a"] << (real < 1 ? LONG_MAX : LONG_MIN);
    batch["\"c{d}\""] << text;
    batch["b"] << real;
    batch["e"] << static_cast<float>(text.size()) / 4;
    for (int column = 4; column < 100; ++column) batch["c" + std::to_string(column)] << column * 1000;
    expected.append(expected.empty() ? "" : ";").append(real < 1 ? "9223372036854775807|" : "-9223372036854775808|");
    expected += read + "|" + std::to_string(text.size() * 25) + "|4000|99000";
  }
  ASSERT_EQ(describe(db->ExecBatchInserter(batch)), kSuccess);
  EXPECT_EQ(rowsOf(db, "select a, \"c{d}\", b, cast(e * 100 as int), c4, c99 from extreme", 6), expected);
}

TEST_P(CommonStore, ParameterSetsRunAnyStatementRowByRow) {
  ASSERT_EQ(db->ExecBatchInserter(batchOf(1, 10)), 0U);
  std::vector<long> ids = {3, 5};
  std::vector<std::string> names = {"three's", "{id}"};
  vorn::ParamRefMap set;
  vorn::TypeRegistry::registerVectorType<std::vector<long>>(set["id"].type, vorn::type_code::kVector, "std::vector", 0);
  vorn::TypeRegistry::registerVectorType<std::vector<std::string>>(set["name"].type, vorn::type_code::kVector, "std::vector", 0);
  set["id"].object = &ids;
  set["name"].object = &names;
  const vorn::TypedRef parameters{{vorn::type_code::kParameterSet, 0, nullptr}, &set};
  vorn::DataSession session("default");
  const auto execute = [&](const std::string& sql) {
    return describe(session.execute("test", vorn::SqlKind::Batch, sql, parameters).errorCode());
  };
  EXPECT_EQ(execute("update alarm set name = {name} /* {x} */ where id = {id} and name <> '{nam}'"), kSuccess);
  EXPECT_EQ(rowsOf(db, "select id, name from alarm where id in (3,5) order by id", 2), "3|three's;5|{id}");
  EXPECT_EQ(execute("update alarm set name = {names} where id = {id}"), "vorn 11 PARAMETER_MISMATCH");
  EXPECT_EQ(execute("update alarm set name = {name}"), "vorn 11 PARAMETER_MISMATCH");
  ids = {6, 7};
  names = {"six", "n1"};
  EXPECT_NE(execute("update alarm set name = {name} where id = {id}"), kSuccess);
  EXPECT_EQ(rowsOf(db, "select name from alarm where id = 6"), "n6") << "the row before the failure is undone";
}

TEST_P(CommonStore, MillionRowsPassInConstantMemory) {
  CVORNReader reader;
  ASSERT_EQ(
      db->execReadSQL(raw("with recursive t(n) as (select 1 union all select n + 1 from t where n < 1000000) select n from t"), reader),
      0U);
  struct rusage usage {};
  long before = 0, rows = 0, sum = 0;
  for (long n = 0; reader.hasNextElement(); sum += n) {
    reader >> n;
    if (++rows == 1000) getrusage(RUSAGE_SELF, &usage), before = usage.ru_maxrss;
  }
  getrusage(RUSAGE_SELF, &usage);
  EXPECT_EQ(sum, 500000500000);
  EXPECT_LT(usage.ru_maxrss - before, 4096) << "KiB";
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
  std::vector<int> order;
  std::vector<std::thread> waiting;
  for (int turn = 0; turn < 4; ++turn) {
    waiting.emplace_back([this, turn, &order] {
      CVORNReader held;
      EXPECT_EQ(db->execReadSQL(raw("select 1"), held), 0U);
      order.push_back(turn);  // the one connection is the lock
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  reader.clear();
  for (std::thread& thread : waiting) thread.join();
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3}));
}

TEST_P(CommonStore, ThreadsWriteAndReadWithoutLosingARow) {
  std::atomic<long> written{0};
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (long thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&, base = thread * 1000000] {
      for (long id = base; !stop; id += 10, written += 10) {
        ASSERT_EQ(insert(id, "n" + std::to_string(id)), 0U);
        ASSERT_EQ(db->beginTransaction(), 0U);
        for (long row = id + 1; row < id + 6; ++row) ASSERT_EQ(insert(row, "n" + std::to_string(row)), 0U);
        ASSERT_EQ(db->ExecBatchInserter(batchOf(id + 6, 4)), 0U);
        ASSERT_EQ(db->commitTransaction(), 0U);
        ASSERT_GE(std::stol(count()), id - base + 10);
      }
    });
  }
  std::this_thread::sleep_for(std::chrono::seconds(2));
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count(), std::to_string(written));
  EXPECT_EQ(log.texts(LogLevel::Info), "") << "no failure was logged";
}

TEST_P(CommonStore, ForkedChildUsesNothingOfTheParent) {
  ASSERT_EQ(db->ExecBatchInserter(batchOf(1, 2)), 0U);
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select id from alarm"), reader), 0U);
  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(run(db, "insert into alarm(id) values(3)"), kSuccess);
  // A transaction of the parent's keeps SQLite's file open, whose locks the child must not believe to hold.
  const std::string counted = GetParam().name == "Sqlite" ? "vorn 18 FORKED_STORE" : "2";
  EXPECT_TRUE(holdsInChild([&] {
    return !reader.hasNextElement() && describe(vorn::lastResult().errorCode()) == "vorn 14 FORKED_SESSION" &&
           run(db, "insert into alarm(id) values(4)") == "vorn 10 TRANSACTION_LOST" && db->rollbackTransaction() == 0 && count() == counted;
  }));
  ASSERT_EQ(db->commitTransaction(), 0U);
  EXPECT_EQ(count(), "3");
  EXPECT_TRUE(reader.hasNextElement() && reader.hasNextElement());
}

TEST_P(CommonStore, StatisticsCountCallsFailuresAndRows) {
  const auto figures = [] {
    const auto all = vorn::statementStatistics();
    const auto of = [](const auto& entry) { return entry.statementId == "MiraDB:execWriteSQL:84"; };
    return *std::find_if(all.begin(), all.end(), of);
  };
  const vorn::StatementStatistics before = figures();
  ASSERT_EQ(insert(1, "a"), 0U);
  ASSERT_EQ(onAnotherThread([this] { return insert(2, "b"); }), 0U);
  ASSERT_NE(insert(2, "c"), 0U);
  const vorn::StatementStatistics after = figures();
  EXPECT_EQ(after.calls - before.calls, 3U);
  EXPECT_EQ(after.failures - before.failures, 1U);
  EXPECT_EQ(after.rows - before.rows, 2U);
  EXPECT_GT(after.totalNanoseconds, before.totalNanoseconds);
}

INSTANTIATE_TEST_SUITE_P(Stores, CommonStore, testing::ValuesIn(storeKinds()), [](const auto& kind) { return kind.param.name; });

}  // namespace
