#include <sqlite3.h>

#include <map>

#include "faults/FailingAllocations.h"
#include "store/store_fixture.h"

// Every operation is run again and again, with its first, second, third … allocation failing, until none is left to
// fail. After each one: what was acknowledged is there, once; nothing else is, and no half batch; a reader has
// delivered exactly its rows or has ended with a failure; and neither a lock nor a connection is missing.
namespace {

using Extent = FailingAllocations::Extent;

/// SQLite's allocator where malloc itself is out of reach. To be installed before SQLite is first used.
sqlite3_mem_methods sqliteMemory;
[[maybe_unused]] const bool sqliteMemoryIsInstalled = [] {
  if (FailingAllocations::kReachesMalloc) return false;
  sqlite3_config(SQLITE_CONFIG_GETMALLOC, &sqliteMemory);
  sqlite3_mem_methods failing = sqliteMemory;
  failing.xMalloc = [](int size) { return FailingAllocations::isDue() ? nullptr : sqliteMemory.xMalloc(size); };
  failing.xRealloc = [](void* block, int size) { return FailingAllocations::isDue() ? nullptr : sqliteMemory.xRealloc(block, size); };
  return sqlite3_config(SQLITE_CONFIG_MALLOC, &failing) == SQLITE_OK;
}();

std::map<std::string, long> failuresOfStore;

class AllocationFaults : public StoreTest, public testing::WithParamInterface<StoreKind> {
 protected:
  static constexpr long kRows = 300;  // of the table that is read

  enum class Outcome { Done, Failed, Thrown };

  /// A reader of 1, 2, 3 … kRows.
  struct Reading {
    CVORNReader reader;
    long last = 0;
    bool isInOrder = true;

    void take(long upTo) {
      while (last < upTo && reader.hasNextElement()) {
        long n = 0;
        reader >> n;
        isInOrder = isInOrder && n == last + 1;
        ++last;
      }
    }
  };

  void SetUp() override {
    alarm(120);  // a hang ends the process
    m_url = GetParam().freshUrl() + "?pool_size=2&acquire_timeout_ms=2000" + GetParam().plainQuery;
    vorn::setLogSink([](const vorn::LogRecord&) {});
    useStore(m_url);
    ASSERT_EQ(run(db, "create table t(n bigint, v bigint)"), kSuccess);
    ASSERT_EQ(run(db, "create index i on t(n)"), kSuccess);
    ASSERT_EQ(run(db, "create table r(n bigint)"), kSuccess);
    BatchInserter rows;
    rows.table("r");
    for (long row = 1; row <= kRows; ++row) rows["n"] << row;
    ASSERT_EQ(db->ExecBatchInserter(rows), 0U);
  }

  void TearDown() override {
    StoreTest::TearDown();
    alarm(0);
  }

  /// Runs a round for every allocation of it that can fail, once and lasting, on a connection that has run it before,
  /// and where opening one is not the work of a client library, on new ones.
  template <typename Round>
  void strikeEverywhere(Round round) {
    strikeEverywhere(round, false);
    if (!HasFailure() && !GetParam().isRemote) strikeEverywhere(round, true);
  }

  template <typename Round>
  void strikeEverywhere(Round round, bool onNewConnections) {
    long rounds = 0;
    for (const Extent extent : {Extent::Once, Extent::Lasting}) {
      m_extent = extent, m_struck = true;
      for (m_first = 1; m_struck; ++m_first, ++rounds) {
        m_struck = false;
        if (onNewConnections) useStore(m_url);
        round();
        expectHealed();
        if (!HasFailure()) continue;
        ADD_FAILURE() << "with allocation " << m_first << (extent == Extent::Once ? " failing once" : " and all after it failing")
                      << (onNewConnections ? ", on a new connection" : "");
        return;
      }
    }
    failuresOfStore[GetParam().name] += rounds - 2;
    std::printf("allocation failures injected: %ld\n", rounds - 2);
  }

  /// Runs `call` while allocations fail.
  template <typename Call>
  Outcome attempt(Call call) {
    unsigned long code = 0;
    try {
      const FailingAllocations failing(m_first, m_extent);
      code = call();
    } catch (const std::bad_alloc&) { return m_struck = true, Outcome::Thrown; }
    m_struck = FailingAllocations::struck();
    return code == 0 ? Outcome::Done : Outcome::Failed;
  }

  /// Checks the rows from `first` on. What was not acknowledged is there whole or not at all.
  void expectRows(long first, long count, Outcome outcome) {
    const std::string range = " from t where n >= " + std::to_string(first) + " and n < " + std::to_string(first + count);
    const std::string found = rowsOf(db, "select count(*), count(distinct n)" + range, 2);
    const std::string all = std::to_string(count) + "|" + std::to_string(count);
    if (outcome == Outcome::Done) {
      EXPECT_EQ(found, all) << "acknowledged";
    } else {
      EXPECT_TRUE(found == "0|0" || (GetParam().isRemote && found == all))
          << found << (outcome == Outcome::Failed ? " after a failure" : " after an exception");
    }
  }

  /// Reads on, with memory enough, to the end: all rows in order, or a failure.
  static void expectRest(Reading& reading) {
    reading.take(kRows + 1);
    EXPECT_TRUE(reading.isInOrder);
    EXPECT_TRUE(reading.last == kRows || !vorn::lastResult().succeeded()) << "ended after row " << reading.last;
  }

  unsigned long startReading(Reading& reading) { return db->execReadSQL(raw("select n from r order by n"), reading.reader); }

  /// Both connections of the pool are good, and neither holds a lock.
  void expectHealed() {
    Reading reading;
    EXPECT_EQ(describe(startReading(reading)), kSuccess);
    reading.take(10);
    EXPECT_EQ(onAnotherThread([this] { return run(db, "insert into t values(-1, 0)"); }), kSuccess) << "on another thread";
    expectRest(reading);
    EXPECT_EQ(describe(db->beginTransaction()), kSuccess);
    EXPECT_EQ(describe(db->rollbackTransaction()), kSuccess);
  }

  CVORNsqlstr insertNext() { return raw("insert into t values(" + std::to_string(m_next++) + ", 0)"); }

  BatchInserter nextBatch(long rows) { return m_next += rows, numbers(rows, m_next - rows); }

  std::string m_url;
  long m_next = 1;
  long m_first = 0;  // the allocation to fail
  Extent m_extent = Extent::Once;
  bool m_struck = false;
};

TEST_P(AllocationFaults, Write) {
  strikeEverywhere([this] {
    const CVORNsqlstr insert = insertNext();
    expectRows(m_next - 1, 1, attempt([&] { return db->execWriteSQL(insert); }));
  });
}

TEST_P(AllocationFaults, Read) {
  strikeEverywhere([this] {
    Reading reading;
    bool runs = false;
    attempt([&] {
      const unsigned long code = startReading(reading);
      runs = code == 0;
      if (runs) reading.take(kRows + 1);
      return code;
    });
    if (runs) expectRest(reading);
  });
}

TEST_P(AllocationFaults, Batch) {
  for (const long rows : {5, 250}) {
    strikeEverywhere([&] {
      const BatchInserter batch = nextBatch(rows);
      expectRows(m_next - rows, rows, attempt([&] { return db->ExecBatchInserter(batch); }));
    });
  }
}

TEST_P(AllocationFaults, BatchInATransaction) {
  for (const long rows : {5, 250}) {
    strikeEverywhere([&] {
      const long before = m_next;
      EXPECT_EQ(db->beginTransaction(), 0U);
      EXPECT_EQ(db->execWriteSQL(insertNext()), 0U);
      const BatchInserter batch = nextBatch(rows);
      const bool stored = attempt([&] { return db->ExecBatchInserter(batch); }) == Outcome::Done;
      const bool wentOn = db->execWriteSQL(insertNext()) == 0;
      const bool committed = db->commitTransaction() == 0;
      if (!committed) db->rollbackTransaction();
      const auto expect = [&](long first, long count, bool done) {
        const std::string range = " from t where n >= " + std::to_string(first) + " and n < " + std::to_string(first + count);
        EXPECT_EQ(rowsOf(db, "select count(*)" + range), std::to_string(committed && done ? count : 0))
            << count << (committed ? " rows, committed" : " rows, not committed");
      };
      expect(before, 1, true), expect(before + 1, rows, stored), expect(m_next - 1, 1, wentOn);
    });
  }
}

TEST_P(AllocationFaults, WholeTransaction) {
  strikeEverywhere([this] {
    const CVORNsqlstr insert = insertNext();
    const BatchInserter batch = nextBatch(20);
    const Outcome outcome = attempt([&] {
      unsigned long code = db->beginTransaction();
      if (code == 0) code = db->execWriteSQL(insert);
      if (code == 0) code = db->ExecBatchInserter(batch);
      return code == 0 ? db->commitTransaction() : code;
    });
    if (outcome != Outcome::Done) db->rollbackTransaction();
    expectRows(m_next - 21, 21, outcome);
  });
}

TEST_P(AllocationFaults, BatchBesideAnOpenReader) {
  for (const long rows : {5, 250}) {
    strikeEverywhere([&] {
      Reading reading;
      EXPECT_EQ(startReading(reading), 0U);
      reading.take(100);
      const BatchInserter batch = nextBatch(rows);
      const Outcome outcome = attempt([&] { return db->ExecBatchInserter(batch); });
      expectRest(reading);
      expectRows(m_next - rows, rows, outcome);
    });
  }
}

TEST_P(AllocationFaults, WriteThatDrainsAReader) {
  strikeEverywhere([this] {
    Reading reading, second;
    EXPECT_EQ(startReading(reading) + startReading(second), 0U);
    reading.take(7), second.take(200);
    const CVORNsqlstr insert = insertNext();
    const Outcome outcome = attempt([&] { return db->execWriteSQL(insert); });
    expectRest(reading), expectRest(second);
    expectRows(m_next - 1, 1, outcome);
  });
}

TEST_P(AllocationFaults, EndOfAThread) {
  for (const bool inTransaction : {false, true}) {
    const CVORNsqlstr insert = insertNext();
    std::thread([&] {
      if (inTransaction) { EXPECT_EQ(db->beginTransaction(), 0U); }
      EXPECT_EQ(db->execWriteSQL(insert), 0U);
      new FailingAllocations(1, Extent::Lasting);  // to the thread's very end
    }).join();
    expectRows(m_next - 1, 1, inTransaction ? Outcome::Failed : Outcome::Done);
    expectHealed();
  }
}

TEST_P(AllocationFaults, AreEnough) {
  const long failures = failuresOfStore[GetParam().name];
  std::printf("allocation failures injected on %s: %ld\n", GetParam().name.c_str(), failures);
  if (FailingAllocations::kReachesMalloc) { EXPECT_GE(failures, GetParam().isRemote ? 500 : 2000) << "where all cases have run"; }
}

INSTANTIATE_TEST_SUITE_P(Stores, AllocationFaults, testing::ValuesIn(storeKinds()), [](const auto& kind) { return kind.param.name; });

}  // namespace
