#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <clocale>
#include <future>
#include <limits>
#include <locale>

#include "store/store_fixture.h"

namespace {

using vorn::LogLevel;

class CommonStore : public StoreTest, public testing::WithParamInterface<StoreKind> {
 protected:
  void SetUp() override {
    m_url = GetParam().freshUrl();
    useStore(m_url);
    ASSERT_EQ(run(db,
                  "create table alarm (id bigint primary key, name varchar(200) unique, level int, ratio "
                  "double precision)"),
              kSuccess);
  }

  std::string count() { return rowsOf(db, "select count(*) from alarm"); }

  /// Inserts one row through the inserter.
  unsigned long insert(long id, const std::string& name, int level = 1, double ratio = 0.5) {
    CVORNInserter inserter;
    inserter.table("alarm");
    inserter["id"]["name"]["level"]["ratio"] << id << name << level << ratio;
    return db->execWriteSQL(inserter);
  }

  static BatchInserter batchOf(long first, long rows, const std::string& prefix = "n") {
    BatchInserter batch;
    batch.table("alarm");
    for (long row = 0; row < rows; ++row) {
      batch["id"] << first + row;
      batch["name"] << prefix + std::to_string(first + row);
      batch["level"] << static_cast<int>(row % 7);
      batch["ratio"] << static_cast<double>(row) * 0.25;
    }
    return batch;
  }

  std::string m_url;
};

// A thread of its own, so that nothing of the caller's sessions is shared.
template <typename Work>
auto onAnotherThread(Work work) {
  return std::async(std::launch::async, work).get();
}

TEST_P(CommonStore, KeepsEveryValueThroughInserterAndReader) {
  const std::string texts[] = {
      "plain", "it's", "''", "a;b--c", "{id}", "%_\\", "\xc3\xa4\xe2\x82\xac", "line\nbreak", "  two blanks lead", std::string(200, 'x')};
  long id = std::numeric_limits<long>::min() + 1;
  for (const std::string& text : texts) EXPECT_EQ(insert(id++, text), 0U);
  EXPECT_EQ(insert(std::numeric_limits<long>::max(), "largest", std::numeric_limits<int>::min(), -1234567.5), 0U);

  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select id, name, level, ratio from alarm order by id"), reader), 0U);
  long expected = std::numeric_limits<long>::min() + 1;
  for (const std::string& text : texts) {
    long readId = 0;
    std::string name;
    int level = 0;
    double ratio = 0;
    ASSERT_TRUE(reader.hasNextElement());
    reader >> readId >> name >> level >> ratio;
    EXPECT_EQ(readId, expected++);
    EXPECT_EQ(name, text);
    EXPECT_EQ(level, 1);
    EXPECT_EQ(ratio, 0.5);
  }
  ASSERT_TRUE(reader.hasNextElement());
  long largest = 0;
  std::string name;
  int least = 0;
  float ratio = 0;
  reader >> largest >> name >> least >> ratio;
  EXPECT_EQ(largest, std::numeric_limits<long>::max());
  EXPECT_EQ(least, std::numeric_limits<int>::min());
  EXPECT_EQ(ratio, -1234567.5F);
  EXPECT_FALSE(reader.hasNextElement());
  EXPECT_TRUE(vorn::lastResult().succeeded());
}

TEST_P(CommonStore, MarksNullsAndReadsBooleans) {
  CVORNInserter inserter;
  inserter.table("alarm");
  inserter["id"]["name"]["level"] << 1L << CVORNNull() << true;
  ASSERT_EQ(db->execWriteSQL(inserter), 0U);
  EXPECT_EQ(rowsOf(db, "select id, name, level, ratio from alarm", 4), "1|~|1|~");
  EXPECT_EQ(rowsOf(db, "select max(level) from alarm where id = 99"), "~");
  EXPECT_EQ(rowsOf(db, "select id from alarm where id = 99"), "");
}

TEST_P(CommonStore, FailuresHaveACodeAndADetailAndLeaveTheStoreUsable) {
  ASSERT_EQ(insert(1, "first"), 0U);
  const std::string tooMany = "insert into alarm (id) values(2); delete from alarm";
  for (const std::string& sql : {std::string("selec 1"), std::string("insert into nowhere values(1)"), tooMany,
                                 std::string("insert into alarm (id) values(3)\0", 33), std::string(" -- nothing"),
                                 std::string("insert into alarm (id, name) values(4, 'first')")}) {
    const unsigned long code = db->execWriteSQL(raw(sql));
    EXPECT_GT(code, 1U) << sql;
    EXPECT_FALSE(vorn::lastResult().succeeded());
    const std::string detail = vorn::lastResult().detail().value_or("");
    EXPECT_FALSE(detail.empty()) << sql;
    EXPECT_EQ(detail.find('\n'), std::string::npos) << sql;
    EXPECT_NE(log.texts(LogLevel::Info).find("[VORNLib]" + detail), std::string::npos) << sql;
    EXPECT_EQ(rowsOf(db, "select id, name from alarm", 2), "1|first") << sql;
  }
  CVORNReader reader;
  EXPECT_GT(db->execReadSQL(raw("select x from nowhere"), reader), 1U);
  EXPECT_FALSE(reader.hasNextElement());
}

TEST_P(CommonStore, TransactionBelongsToNameAndThread) {
  ASSERT_EQ(db->beginTransaction(), 0U);
  EXPECT_EQ(describe(db->beginTransaction()), "vorn 8 TRANSACTION_OPEN");
  ASSERT_EQ(insert(1, "a"), 0U);
  ASSERT_EQ(insert(2, "b"), 0U);
  EXPECT_EQ(count(), "2") << "seen by the thread's other sessions";
  EXPECT_EQ(onAnotherThread([this] { return count(); }), "0");
  ASSERT_EQ(db->commitTransaction(), 0U);
  EXPECT_EQ(onAnotherThread([this] { return count(); }), "2");

  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(insert(3, "c"), 0U);
  ASSERT_EQ(db->rollbackTransaction(), 0U);
  EXPECT_EQ(count(), "2");
  EXPECT_EQ(describe(db->commitTransaction()), "vorn 9 NO_TRANSACTION");
  EXPECT_EQ(describe(db->rollbackTransaction()), "vorn 9 NO_TRANSACTION");
}

TEST_P(CommonStore, ThreadThatEndsRollsBackAndSaysSo) {
  std::thread([this] {
    EXPECT_EQ(db->beginTransaction(), 0U);
    EXPECT_EQ(insert(1, "lost"), 0U);
  }).join();
  EXPECT_EQ(count(), "0");
  EXPECT_NE(log.texts(LogLevel::Info).find("open transaction of session 'default'"), std::string::npos);
  EXPECT_EQ(insert(1, "next"), 0U) << "no lock is left behind";
}

TEST_P(CommonStore, SecondStoreIsUntouched) {
  ASSERT_TRUE(vorn::bindStore("NeUpgradeDB", GetParam().freshUrl()).succeeded());
  MIRAsqlDB other(true);
  ASSERT_EQ(run(&other, "create table alarm (id bigint)"), kSuccess);
  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(insert(1, "a"), 0U);
  EXPECT_EQ(run(&other, "insert into alarm values(7)"), kSuccess);
  ASSERT_EQ(db->rollbackTransaction(), 0U);
  EXPECT_EQ(rowsOf(&other, "select id from alarm"), "7");
  EXPECT_EQ(count(), "0");
}

TEST_P(CommonStore, OpenReadersShowTheRowsAsOpenedWhateverIsWrittenBetween) {
  for (long id = 1; id <= 300; ++id) ASSERT_EQ(insert(id, "n" + std::to_string(id)), 0U);
  CVORNReader forward;
  CVORNReader backward;
  ASSERT_EQ(db->execReadSQL(raw("select id from alarm order by id"), forward), 0U);
  ASSERT_EQ(db->execReadSQL(raw("select id from alarm order by id desc"), backward), 0U);
  for (long step = 1; step <= 300; ++step) {
    long up = 0;
    long down = 0;
    ASSERT_TRUE(forward.hasNextElement() && backward.hasNextElement()) << step;
    forward >> up;
    backward >> down;
    ASSERT_EQ(up, step);
    ASSERT_EQ(down, 301 - step);
    ASSERT_EQ(insert(1000 + step, "w" + std::to_string(step)), 0U);
    if (step == 150) { ASSERT_EQ(run(db, "delete from alarm where id <= 300"), kSuccess); }
  }
  EXPECT_FALSE(forward.hasNextElement() || backward.hasNextElement());
  EXPECT_EQ(count(), "300");
}

TEST_P(CommonStore, BatchInsertsAllRowsOrNone) {
  for (const long rows : {1L, 2L, 1000L}) {
    ASSERT_EQ(run(db, "delete from alarm"), kSuccess);
    EXPECT_EQ(db->ExecBatchInserter(batchOf(1, rows)), 0U);
    EXPECT_EQ(count(), std::to_string(rows));
  }
  EXPECT_EQ(rowsOf(db, "select id, name, level, ratio from alarm where id in (1,1000) order by id", 4),
            rowsOf(db, "select 1, 'n1', 0, ratio from alarm where id = 1", 4) + ";1000|n1000|5|249.75");

  BatchInserter duplicate = batchOf(2000, 500);
  duplicate["id"] << 1L;
  duplicate["name"] << std::string("last");
  duplicate["level"] << 1;
  duplicate["ratio"] << 0.0;
  EXPECT_GT(db->ExecBatchInserter(duplicate), 1U);
  EXPECT_EQ(count(), "1000") << "outside a transaction";

  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(insert(5000, "before"), 0U);
  EXPECT_GT(db->ExecBatchInserter(duplicate), 1U);
  ASSERT_EQ(insert(5001, "behind"), 0U) << "the transaction survives";
  EXPECT_EQ(db->ExecBatchInserter(batchOf(6000, 3)), 0U);
  ASSERT_EQ(db->commitTransaction(), 0U);
  EXPECT_EQ(count(), "1005");
}

TEST_P(CommonStore, BatchKeepsHostileTextsAndExtremeNumbers) {
  ASSERT_EQ(run(db, "create table extreme (a bigint, b double precision, \"c{d}\" varchar(100), e real)"), kSuccess);
  const std::vector<std::string> texts = {"", " ", "'", "''", "\\N", "\\.", "a\tb\nc\rd", "\\", "{a}", "\"", "\xe2\x82\xac"};
  const double inf = std::numeric_limits<double>::infinity();
  const std::vector<double> reals = {0.1, -0.0, 1e308, 5e-324, inf, -inf, 1.0 / 3, 1e22, 3, 1e15, -1e-7};
  BatchInserter batch;
  batch.table("extreme");
  for (std::size_t row = 0; row < texts.size(); ++row) {
    batch["a"] << (row % 2 == 0 ? std::numeric_limits<long>::max() : std::numeric_limits<long>::min());
    batch["b"] << reals[row];
    batch["\"c{d}\""] << texts[row];
    batch["e"] << static_cast<float>(row) / 3;
  }
  ASSERT_EQ(describe(db->ExecBatchInserter(batch)), kSuccess);

  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select a, b, \"c{d}\", e from extreme"), reader), 0U);
  for (std::size_t row = 0; row < texts.size(); ++row) {
    long a = 0;
    double b = -1;
    std::string c;
    float e = -1;
    ASSERT_TRUE(reader.hasNextElement());
    reader >> a >> b >> c >> e;
    EXPECT_EQ(a, row % 2 == 0 ? std::numeric_limits<long>::max() : std::numeric_limits<long>::min());
    EXPECT_EQ(b, reals[row]);
    EXPECT_EQ(c, texts[row] == " " ? "" : texts[row]) << "one blank reads as empty";
    EXPECT_EQ(e, static_cast<float>(row) / 3);
  }
  EXPECT_FALSE(reader.hasNextElement());
}

TEST_P(CommonStore, BatchOfOneHundredColumns) {
  std::string columns;
  BatchInserter batch;
  batch.table("wide");
  for (int column = 0; column < 100; ++column) {
    const std::string name = "c" + std::to_string(column);
    columns += (column == 0 ? "" : ",") + name + " int";
    for (int row = 0; row < 50; ++row) batch[name] << column * 1000 + row;
  }
  ASSERT_EQ(run(db, "create table wide (" + columns + ")"), kSuccess);
  ASSERT_EQ(describe(db->ExecBatchInserter(batch)), kSuccess);
  EXPECT_EQ(rowsOf(db, "select c0, c7, c99 from wide where c0 = 49", 3), "49|7049|99049");
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
  EXPECT_EQ(execute("update alarm set name = {name} /* {x} */ where id = {id} and name <> '{name}'"), kSuccess);
  EXPECT_EQ(rowsOf(db, "select id, name from alarm where id in (3,5) order by id", 2), "3|three's;5|{id}");
  EXPECT_EQ(execute("update alarm set name = {nam} where id = {id}"), "vorn 11 PARAMETER_MISMATCH");
  EXPECT_EQ(execute("update alarm set name = {name}"), "vorn 11 PARAMETER_MISMATCH");
  ids = {6, 7};
  names = {"six", "n1"};
  EXPECT_NE(execute("update alarm set name = {name} where id = {id}"), kSuccess);
  EXPECT_EQ(rowsOf(db, "select name from alarm where id = 6"), "n6") << "the row before the failure is undone";
}

TEST_P(CommonStore, MillionRowsPassInConstantMemory) {
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw(GetParam().tick), reader), 0U);
  struct rusage usage {};
  long before = 0;
  long rows = 0;
  long sum = 0;
  while (reader.hasNextElement()) {
    long n = 0;
    reader >> n;
    sum += n;
    if (++rows == 1000) {
      getrusage(RUSAGE_SELF, &usage);
      before = usage.ru_maxrss;
    }
  }
  EXPECT_EQ(rows, 1000000);
  EXPECT_EQ(sum, 500000500000);
  getrusage(RUSAGE_SELF, &usage);
  EXPECT_LT(usage.ru_maxrss - before, 4096) << "KiB";
}

TEST_P(CommonStore, PoolIsBoundedServesInTurnAndNamesItsFailure) {
  useStore(m_url + "?pool_size=1&acquire_timeout_ms=200");
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select 1"), reader), 0U);
  EXPECT_EQ(onAnotherThread([this] { return run(db, "select 1"); }), "vorn 3 POOL_EXHAUSTED");
  EXPECT_EQ(run(db, "select 1"), kSuccess) << "the thread that holds the connection shares it";
  reader.clear();
  EXPECT_EQ(onAnotherThread([this] { return run(db, "select 1"); }), kSuccess);

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
  constexpr int kThreads = 8;
  std::atomic<long> written{0};
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      long id = thread * 1000000L;
      while (!stop) {
        const long first = id;
        ASSERT_EQ(insert(id, "t" + std::to_string(id)), 0U);
        ++id;
        ASSERT_EQ(db->beginTransaction(), 0U);
        for (int row = 0; row < 5; ++row, ++id) ASSERT_EQ(insert(id, "t" + std::to_string(id)), 0U);
        ASSERT_EQ(db->ExecBatchInserter(batchOf(id, 4, "t")), 0U);
        id += 4;
        ASSERT_EQ(db->commitTransaction(), 0U);
        written += id - first;
        CVORNReader reader;
        ASSERT_EQ(db->execReadSQL(raw("select count(*) from alarm"), reader), 0U);
        long seen = 0;
        reader >> seen;
        ASSERT_GE(seen, id - thread * 1000000L);
      }
    });
  }
  std::this_thread::sleep_for(std::chrono::seconds(2));
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count(), std::to_string(written));
  EXPECT_EQ(log.texts(LogLevel::Info), "") << "no failure was logged";
}

TEST_P(CommonStore, LocalesChangeNeitherTextsNorValues) {
  struct Comma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  setenv("LOCPATH", VORN_TEST_LOCALES, 1);
  ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
  ASSERT_STREQ(std::localeconv()->decimal_point, ",");
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Comma));
  EXPECT_EQ(insert(1234567, "comma", 7654321, 1234.5), 0U);
  BatchInserter batch = batchOf(1234568, 1);
  EXPECT_EQ(db->ExecBatchInserter(batch), 0U);
  CVORNReader reader;
  EXPECT_EQ(db->execReadSQL(raw("select level, ratio, ratio, '2.75' from alarm where id = 1234567"), reader), 0U);
  int level = 0;
  std::string text;
  double ratio = 0;
  float fromText = 0;
  reader >> level >> text >> ratio >> fromText;
  std::locale::global(before);
  std::setlocale(LC_ALL, "C");
  EXPECT_EQ(level, 7654321);
  EXPECT_EQ(text, "1234.5");
  EXPECT_EQ(ratio, 1234.5);
  EXPECT_EQ(fromText, 2.75F);
}

TEST_P(CommonStore, StatisticsCountCallsFailuresAndRows) {
  const auto figures = [](const std::string& id) {
    for (const vorn::StatementStatistics& entry : vorn::statementStatistics()) {
      if (entry.statementId == id) return entry;
    }
    return vorn::StatementStatistics{};
  };
  const std::string id = vorn::makeStatementId("MiraDB", "execWriteSQL", 84);
  const vorn::StatementStatistics before = figures(id);
  ASSERT_EQ(insert(1, "a"), 0U);
  ASSERT_EQ(onAnotherThread([this] { return insert(2, "b"); }), 0U);
  ASSERT_NE(insert(2, "c"), 0U);
  const vorn::StatementStatistics after = figures(id);
  EXPECT_EQ(after.calls - before.calls, 3U);
  EXPECT_EQ(after.failures - before.failures, 1U);
  EXPECT_EQ(after.rows - before.rows, 2U);
  EXPECT_GT(after.totalNanoseconds, before.totalNanoseconds);
}

INSTANTIATE_TEST_SUITE_P(Stores, CommonStore, testing::ValuesIn(storeKinds()),
                         [](const testing::TestParamInfo<StoreKind>& kind) { return kind.param.name; });

}  // namespace
