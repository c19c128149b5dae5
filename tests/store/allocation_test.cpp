#include <map>

#include "faults/FailingAllocations.h"
#include "faults/HarmTest.h"

// Every operation is run again and again, with its first, second, third … allocation failing, until none is
// left to fail. After each one: what was acknowledged is there, once; nothing else is, and no half batch; a
// reader has delivered exactly its rows or has ended with a failure; and neither a lock nor a connection is
// missing.
namespace {

using Extent = FailingAllocations::Extent;

std::map<std::string, long> failuresOfStore;

class AllocationFaults : public HarmTest, public testing::WithParamInterface<StoreKind> {
 protected:
  void SetUp() override {
    m_url = GetParam().freshUrl() + "?pool_size=2&acquire_timeout_ms=2000" + GetParam().plainQuery;
    prepare(m_url);
    ASSERT_EQ(run(db, "create index i on t(n)"), kSuccess);
  }

  /// Runs a round for every allocation of it that can fail, once and lasting, on a connection that has run it
  /// before, and where opening one is not the work of a client library, on a new one of a new thread.
  template <typename Round>
  void strikeEverywhere(Round round) {
    for (const Extent extent : {Extent::Once, Extent::Lasting}) {
      strike(extent, "", round);
      if (GetParam().isRemote) continue;
      strike(extent, " on a new connection", [&] {
        useStore(m_url);
        // The C library itself ends a process that has no memory for the destructor of a thread's first
        // object.
        std::thread([&] {
          vorn::lastResult();
          round();
        }).join();
      });
    }
  }

  template <typename Round>
  void strike(Extent extent, const std::string& where, Round round) {
    m_extent = extent;
    m_struck = true;
    for (m_first = 1; m_struck && !HasFailure(); ++m_first) {
      m_struck = false;
      round();
      expectHealed();
      failuresOfStore[GetParam().name] += m_struck ? 1 : 0;
      const char* const which = extent == Extent::Once ? " fails" : " and all after it fail";
      if (HasFailure()) ADD_FAILURE() << "allocation " << m_first << which << where;
    }
  }

  /// Runs `call`, which returns a code, while allocations fail. @return whether it says that it was done
  template <typename Call>
  bool isDone(Call call) {
    try {
      const FailingAllocations failing(m_first, m_extent);
      const bool done = call() == 0;
      m_struck = FailingAllocations::struck();
      return done;
    } catch (const std::bad_alloc&) {
      m_struck = true;
      return false;
    }
  }

  /// Checks rows of t: what was acknowledged is there whole, anything else not at all, unless an answer can
  /// be lost.
  void expectRows(long first, long count, bool done, bool canBeLost) {
    const std::string found =
        rowsOf(db, "select count(*), count(distinct n) from t where n >= " + std::to_string(first) +
                       " and n < " + std::to_string(first + count));
    const std::string all = std::to_string(count) + "|" + std::to_string(count);
    if (found != "0|0" || done) {
      EXPECT_EQ(found, done || canBeLost ? all : "0|0") << "from " << first;
    }
  }

  /// Both connections of the pool are good, and neither holds a lock.
  void expectHealed() {
    Reading reading;
    EXPECT_EQ(describe(reading.start(db)), kSuccess);
    reading.take(10);
    EXPECT_EQ(onAnotherThread([this] { return run(db, "insert into t values(-1, 0)"); }), kSuccess);
    EXPECT_TRUE(reading.endsWell());
    EXPECT_EQ(describe(db->beginTransaction()), kSuccess);
    EXPECT_EQ(describe(db->rollbackTransaction()), kSuccess);
  }

  CVORNsqlstr insertNext() { return raw("insert into t values(" + std::to_string(m_next++) + ", 0)"); }

  BatchInserter nextBatch(long rows) {
    m_next += rows;
    return numbers(rows, m_next - rows);
  }

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
        Reading reading;
        Reading second;
        CVORNReader returned;
        if (besideReaders) {
          EXPECT_EQ(reading.start(db) + second.start(db), 0U);
          reading.take(kReadRows - 20);
          second.take(kReadRows - 5);
        }
        const long before = m_next;
        const CVORNsqlstr returning = raw("insert into t values(" + std::to_string(m_next) + ", 0), (" +
                                          std::to_string(m_next + 1) + ", 0) returning n");
        const CVORNsqlstr insert = insertNext();
        m_next = before;
        const BatchInserter batch = nextBatch(rows);
        const bool done = isDone([&] {
          if (rows == 1) return db->execWriteSQL(insert);
          return rows == 2 ? db->execReadSQL(returning, returned) : db->ExecBatchInserter(batch);
        });
        returned.clear();
        EXPECT_TRUE(!besideReaders || (reading.endsWell() && second.endsWell()));
        expectRows(before, rows, done, GetParam().isRemote);
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
      EXPECT_TRUE(!moves || db->execWriteSQL(insertNext()) == 0);
      isDone([&] {
        const unsigned long code = runs ? 0 : reading.start(db);
        runs = code == 0;
        if (runs) reading.take(from + 21);
        return code;
      });
      EXPECT_TRUE(!runs || reading.endsWell()) << "row " << reading.last;
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
      const bool stored = isDone([&] { return db->ExecBatchInserter(batch); });
      const bool wentOn = db->execWriteSQL(insertNext()) == 0;
      const bool committed = db->commitTransaction() == 0;
      if (!committed) db->rollbackTransaction();
      expectRows(before, 1, committed, false);
      expectRows(before + 1, rows, committed && stored, false);
      expectRows(m_next - 1, 1, committed && wentOn, false);
    });
  }
}

TEST_P(AllocationFaults, WholeTransaction) {
  const CVORNsqlstr begin = raw("begin");
  const CVORNsqlstr commit = raw("commit");
  for (const bool byText : {false, true}) {
    strikeEverywhere([&] {
      const CVORNsqlstr insert = insertNext();
      const BatchInserter batch = nextBatch(20);
      const bool done = isDone([&] {
        unsigned long code = byText ? db->execWriteSQL(begin) : db->beginTransaction();
        if (code == 0) code = db->execWriteSQL(insert);
        if (code == 0) code = db->ExecBatchInserter(batch);
        if (code != 0) return code;
        return byText ? db->execWriteSQL(commit) : db->commitTransaction();
      });
      if (!done) db->rollbackTransaction();
      expectRows(m_next - 21, 21, done, GetParam().isRemote);
    });
  }
}

TEST_P(AllocationFaults, EndOfAThread) {
  for (const bool inTransaction : {false, true}) {
    const CVORNsqlstr insert = insertNext();
    std::thread([&] {
      EXPECT_TRUE(!inTransaction || db->beginTransaction() == 0);
      EXPECT_EQ(db->execWriteSQL(insert), 0U);
      FailingAllocations::untilThreadEnds();
    }).join();
    expectRows(m_next - 1, 1, !inTransaction, false);
    expectHealed();
  }
}

TEST_P(AllocationFaults, AreEnough) {
  const long failures = failuresOfStore[GetParam().name];
  std::printf("allocation failures injected on %s: %ld\n", GetParam().name.c_str(), failures);
#ifdef VORN_TEST_REPLACES_MALLOC
  EXPECT_GE(failures, GetParam().isRemote ? 500 : 2000) << "where all cases have run";
#endif
}

INSTANTIATE_TEST_SUITE_P(Stores, AllocationFaults, testing::ValuesIn(storeKinds()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace
