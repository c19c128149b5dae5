#include <sqlite3.h>

#include <map>

#include "faults/FailingAllocations.h"
#include "faults/HarmTest.h"

// Every operation is run again and again, with its first, second, third … allocation failing, until none is
// left to fail. After each one: what was acknowledged is there, once; nothing else is, and no half batch; a
// reader has delivered exactly its rows or has ended with a failure; and neither a lock nor a connection is
// missing.
namespace {

using Extent = FailingAllocations::Extent;

/// SQLite's allocator where malloc itself is out of reach. To be installed before SQLite is first used.
sqlite3_mem_methods sqliteMemory;
[[maybe_unused]] const bool sqliteMemoryIsInstalled = [] {
  if (FailingAllocations::kReachesMalloc) return false;
  sqlite3_config(SQLITE_CONFIG_GETMALLOC, &sqliteMemory);
  sqlite3_mem_methods failing = sqliteMemory;
  failing.xMalloc = [](int size) {
    return FailingAllocations::isDue() ? nullptr : sqliteMemory.xMalloc(size);
  };
  failing.xRealloc = [](void* block, int size) {
    return FailingAllocations::isDue() ? nullptr : sqliteMemory.xRealloc(block, size);
  };
  return sqlite3_config(SQLITE_CONFIG_MALLOC, &failing) == SQLITE_OK;
}();

std::map<std::string, long> failuresOfStore;

class AllocationFaults : public HarmTest, public testing::WithParamInterface<StoreKind> {
 protected:
  enum class Outcome { Done, Failed, Thrown };

  void SetUp() override {
    m_url = GetParam().freshUrl() + "?pool_size=2&acquire_timeout_ms=2000" + GetParam().plainQuery;
    prepare(m_url);
    ASSERT_EQ(run(db, "create index i on t(n)"), kSuccess);
  }

  /// Runs a round for every allocation of it that can fail, once and lasting, on a connection that has run it
  /// before, and where opening one is not the work of a client library, on a new one of a new thread.
  template <typename Round>
  void strikeEverywhere(Round round) {
    long rounds = 0;
    for (const bool onNewConnections : {false, true}) {
      for (const Extent extent : {Extent::Once, Extent::Lasting}) {
        m_extent = extent, m_struck = !(onNewConnections && GetParam().isRemote);
        for (m_first = 1; m_struck && !HasFailure(); ++m_first) {
          m_struck = false;
          if (onNewConnections) {
            useStore(m_url);
            // The C library itself ends a process that has no memory for the destructor of a thread's first
            // object.
            std::thread([&] {
              vorn::lastResult();
              round();
            }).join();
          } else {
            round();
          }
          expectHealed();
          rounds += m_struck ? 1 : 0;
          if (HasFailure()) {
            ADD_FAILURE() << "allocation " << m_first
                          << (extent == Extent::Once ? " fails" : " and all after it fail")
                          << (onNewConnections ? " on a new connection" : "");
          }
        }
      }
    }
    failuresOfStore[GetParam().name] += rounds;
  }

  /// Runs `call` while allocations fail.
  template <typename Call>
  Outcome attempt(Call call) {
    unsigned long code = 0;
    try {
      const FailingAllocations failing(m_first, m_extent);
      code = call();
    } catch (const std::bad_alloc&) {
      return m_struck = true, Outcome::Thrown;
    }
    m_struck = FailingAllocations::struck();
    return code == 0 ? Outcome::Done : Outcome::Failed;
  }

  /// Checks the rows from `first` on. What was not acknowledged is there whole or not at all.
  void expectRows(long first, long count, Outcome outcome) {
    const std::string range =
        " from t where n >= " + std::to_string(first) + " and n < " + std::to_string(first + count);
    const std::string found = rowsOf(db, "select count(*), count(distinct n)" + range, 2);
    const std::string all = std::to_string(count) + "|" + std::to_string(count);
    if (outcome == Outcome::Done) {
      EXPECT_EQ(found, all) << "acknowledged";
    } else {
      EXPECT_TRUE(found == "0|0" || (GetParam().isRemote && found == all))
          << found << (outcome == Outcome::Failed ? " after a failure" : " after an exception");
    }
  }

  /// Both connections of the pool are good, and neither holds a lock.
  void expectHealed() {
    Reading reading;
    EXPECT_EQ(describe(reading.start(db)), kSuccess);
    reading.take(10);
    EXPECT_EQ(onAnotherThread([this] { return run(db, "insert into t values(-1, 0)"); }), kSuccess)
        << "on another thread";
    EXPECT_TRUE(reading.endsWell());
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

TEST_P(AllocationFaults, WritesAndBatchesAloneAndBesideReaders) {
  for (const long rows : {1, 2, 5, 250}) {
    for (const bool besideReaders : {false, true}) {
      strikeEverywhere([&] {
        Reading reading, second;
        CVORNReader returned;
        if (besideReaders) {
          EXPECT_EQ(reading.start(db) + second.start(db), 0U);
        }
        reading.take(besideReaders ? kReadRows - 20 : 0), second.take(besideReaders ? kReadRows - 5 : 0);
        const BatchInserter batch = nextBatch(rows);
        const std::string last = "(" + std::to_string(m_next - 1) + ", 0)";
        const CVORNsqlstr insert = raw("insert into t values" + last);
        const CVORNsqlstr returning =
            raw("insert into t values(" + std::to_string(m_next - 2) + ", 0), " + last + " returning n");
        const Outcome outcome = attempt([&] {
          if (rows == 1) return db->execWriteSQL(insert);
          return rows == 2 ? db->execReadSQL(returning, returned) : db->ExecBatchInserter(batch);
        });
        returned.clear();
        if (besideReaders) {
          EXPECT_TRUE(reading.endsWell() && second.endsWell());
        }
        expectRows(m_next - rows, rows, outcome);
      });
    }
  }
}

TEST_P(AllocationFaults, Read) {
  // From the first row on, up to the last one, and what a write has moved into memory.
  const std::pair<long, bool> cases[] = {{0, false}, {kReadRows - 20, false}, {kReadRows - 20, true}};
  for (const auto& [from, moves] : cases) {
    strikeEverywhere([&, from = from, moves = moves] {
      Reading reading;
      bool runs = from > 0 && reading.start(db) == 0;
      reading.take(from);
      if (moves) {
        EXPECT_EQ(db->execWriteSQL(insertNext()), 0U);
      }
      attempt([&] {
        const unsigned long code = runs ? 0 : reading.start(db);
        runs = code == 0;
        if (runs) reading.take(from + 21);
        return code;
      });
      if (runs) {
        EXPECT_TRUE(reading.endsWell()) << "row " << reading.last;
      }
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
        const std::string range =
            " from t where n >= " + std::to_string(first) + " and n < " + std::to_string(first + count);
        EXPECT_EQ(rowsOf(db, "select count(*)" + range), std::to_string(committed && done ? count : 0))
            << count << (committed ? " rows, committed" : " rows, not committed");
      };
      expect(before, 1, true), expect(before + 1, rows, stored), expect(m_next - 1, 1, wentOn);
    });
  }
}

TEST_P(AllocationFaults, WholeTransaction) {
  for (const bool byText : {false, true}) {
    strikeEverywhere([&] {
      const CVORNsqlstr insert = insertNext(), begin = raw("begin"), commit = raw("commit");
      const BatchInserter batch = nextBatch(20);
      const Outcome outcome = attempt([&] {
        unsigned long code = byText ? db->execWriteSQL(begin) : db->beginTransaction();
        if (code == 0) code = db->execWriteSQL(insert);
        if (code == 0) code = db->ExecBatchInserter(batch);
        if (code != 0) return code;
        return byText ? db->execWriteSQL(commit) : db->commitTransaction();
      });
      if (outcome != Outcome::Done) db->rollbackTransaction();
      expectRows(m_next - 21, 21, outcome);
    });
  }
}

TEST_P(AllocationFaults, EndOfAThread) {
  for (const bool inTransaction : {false, true}) {
    const CVORNsqlstr insert = insertNext();
    std::thread([&] {
      if (inTransaction) {
        EXPECT_EQ(db->beginTransaction(), 0U);
      }
      EXPECT_EQ(db->execWriteSQL(insert), 0U);
      FailingAllocations::untilThreadEnds();
    }).join();
    expectRows(m_next - 1, 1, inTransaction ? Outcome::Failed : Outcome::Done);
    expectHealed();
  }
}

TEST_P(AllocationFaults, AreEnough) {
  const long failures = failuresOfStore[GetParam().name];
  std::printf("allocation failures injected on %s: %ld\n", GetParam().name.c_str(), failures);
  if (FailingAllocations::kReachesMalloc) {
    EXPECT_GE(failures, GetParam().isRemote ? 500 : 2000) << "where all cases have run";
  }
}

INSTANTIATE_TEST_SUITE_P(Stores, AllocationFaults, testing::ValuesIn(storeKinds()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace
