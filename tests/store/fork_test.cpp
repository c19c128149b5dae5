#include <atomic>

#include "faults/HarmTest.h"

namespace {

/// A process that is forked while readers and transactions are open: the parent goes on as if nothing had
/// happened, the child works on a store of its own, and on its parent's store its work is either done or
/// refused.
class Forks : public HarmTest, public testing::WithParamInterface<StoreKind> {
 protected:
  static constexpr long kChildOperations = 4;
  static constexpr int kWrong = 1 << kChildOperations;

  using Told = Ledger::Told;

  void SetUp() override {
    const std::string options = "?pool_size=3&acquire_timeout_ms=2000" + GetParam().plainQuery;
    m_url = GetParam().freshUrl() + options;
    prepare(m_url);
    m_childUrl = GetParam().freshUrl() + options;
  }

  long below(long limit) { return static_cast<long>(m_random() % static_cast<unsigned long>(limit)); }

  /// Works in the child. @return a bit for each operation that was done on the shared store
  int workInChild(Reading& inherited, long firstOperation, long rows, bool closes) {
    alarm(60);
    EXPECT_FALSE(inherited.reader.hasNextElement());
    EXPECT_EQ(describe(vorn::lastResult().errorCode()), "vorn 14 FORKED_SESSION");
    MIRAsqlDB own(true);
    EXPECT_TRUE(vorn::bindStore("NeUpgradeDB", m_childUrl).succeeded());
    EXPECT_EQ(run(&own, "create table if not exists t(n bigint, v bigint)"), kSuccess);
    EXPECT_EQ(describe(send(&own, firstOperation, 0, 30)), kSuccess);
    EXPECT_EQ(rowsOf(&own, "select count(*) from t where v = " + std::to_string(firstOperation)), "30");
    int done = 0;
    for (long step = 0; step < kChildOperations; ++step) {
      if (closes && step == 1) {  // which a store may take for the end of its last user
        vorn::unbindStores();
        EXPECT_TRUE(vorn::bindStore("default", m_url).succeeded());
      }
      usleep(2000);  // the parent has gone on, and may have closed its connections
      const bool inTransaction = step == kChildOperations - 1;
      if (inTransaction && db->beginTransaction() != 0) continue;
      const unsigned long code = send(db, firstOperation + step, 0, step % 2 == 0 ? rows : 1);
      const bool isKept = !inTransaction || (code == 0 && db->commitTransaction() == 0);
      if (code == 0 && isKept) done |= 1 << step;
    }
    if (closes) vorn::unbindStores();
    std::fflush(stdout);
    return HasFailure() ? kWrong : done;
  }

  /// Forks once, with something open, and goes on at once.
  void forkOnce() {
    const bool inTransaction = below(2) == 0;
    const bool commits = !inTransaction || below(3) != 0;
    const bool childCloses = below(2) == 0;
    const long rows = 1 + below(60);
    const long before = m_ledger.begin();
    const long after = m_ledger.begin();
    const long inChild = m_ledger.begin();
    for (long more = 1; more < kChildOperations; ++more) m_ledger.begin();
    Reading reading;
    EXPECT_EQ(reading.start(db), 0U);
    reading.take(below(kReadRows));
    EXPECT_TRUE(!inTransaction || db->beginTransaction() == 0);
    EXPECT_EQ(describe(send(db, before, 0, rows)), kSuccess);
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) _exit(workInChild(reading, inChild, rows, childCloses));
    if (below(3) != 0) reading.take(kReadRows);
    EXPECT_EQ(describe(send(db, after, 0, 1)), kSuccess);
    EXPECT_TRUE(!inTransaction || (commits ? db->commitTransaction() : db->rollbackTransaction()) == 0);
    EXPECT_TRUE(reading.endsWell() && reading.last == kReadRows) << "row " << reading.last;
    reading.reader.clear();
    if (below(2) == 0) {
      vorn::unbindStores();
      useStore(m_url);
    }
    int status = -1;
    while (waitpid(child, &status, WNOHANG) == 0) {
      usleep(500);
      if (HasFailure()) continue;
      const long beside = m_ledger.begin();
      EXPECT_EQ(describe(send(db, beside, 0, 20)), kSuccess) << "beside the child";
      m_ledger.note(beside, 20, Told::Done);
    }
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) < kWrong);
    m_ledger.note(before, rows, commits ? Told::Done : Told::Undone);
    m_ledger.note(after, 1, commits ? Told::Done : Told::Undone);
    for (long step = 0; step < kChildOperations; ++step) {
      const bool isDone = (WEXITSTATUS(status) >> step & 1) != 0;
      m_ledger.note(inChild + step, step % 2 == 0 ? rows : 1, isDone ? Told::Done : Told::Undone);
      m_doneInChildren += isDone ? 1 : 0;
    }
  }

  std::string m_url;
  std::string m_childUrl;
  std::mt19937_64 m_random{testSeed()};
  Ledger m_ledger;
  long m_doneInChildren = 0;
};

TEST_P(Forks, TwoHundredWithReadersAndTransactionsOpen) {
  for (int round = 0; round < repetitions(200) && !HasFailure(); ++round) forkOnce();
  std::printf("writes acknowledged: %ld, by children: %ld\n", m_ledger.done(), m_doneInChildren);
  const auto found = [this] {
    EXPECT_EQ(rowsOf(db, GetParam().integritySql), "ok");
    return rowsOf(db, Ledger::kQuery);
  };
  m_ledger.expectIn(onAnotherThread(found));
}

// A lock of the default sink that another thread held would be held in the child for ever.
TEST_F(StoreTest, AForkedChildLogsWhileOtherThreadsOfItsParentDid) {
  const auto logLine = [] { vorn::Logger::info("a line", {"Forks", "log", 1}); };
  useStore("sqlite::memory:");
  ASSERT_EQ(run(db, "create table t(n)"), kSuccess);
  vorn::setLogSink({});
  testing::internal::CaptureStderr();
  std::atomic<bool> done{false};
  std::thread logging([&] {
    while (!done) logLine();
  });
  for (int round = 0; round < repetitions(200) && !HasFailure(); ++round) {
    EXPECT_TRUE(holdsInChild([&] {
      alarm(10);
      logLine();
      return true;
    }));
  }
  done = true;
  logging.join();
  testing::internal::GetCapturedStderr();
}

/// An embedded store locks its file in another way without a log beside it.
std::vector<StoreKind> kindsToFork() {
  std::vector<StoreKind> kinds = storeKinds();
  kinds.push_back(kinds.back());
  kinds.back().name += "RollbackJournal";
  kinds.back().plainQuery += "&journal_mode=delete";
  return kinds;
}

INSTANTIATE_TEST_SUITE_P(Stores, Forks, testing::ValuesIn(kindsToFork()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace
