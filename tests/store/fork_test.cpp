#include <fcntl.h>

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

  /// Runs an operation of the child's on the store that it shares with its parent. @return whether it was
  /// done
  bool tryInChild(long operation, long rows, bool inTransaction) {
    unsigned long code = inTransaction ? db->beginTransaction() : 0;
    if (code == 0) code = send(db, operation, 0, rows);
    if (code == 0 && inTransaction) code = db->commitTransaction();
    if (code != 0 && inTransaction) db->rollbackTransaction();
    return code == 0;
  }

  /// @param done  receives a bit for each operation that was done on the shared store
  /// @return what went wrong in the child, or nothing
  std::string workInChild(Reading& inherited, long firstOperation, long rows, bool closes, int& done) {
    if (inherited.reader.hasNextElement()) return "the parent's reader goes on";
    if (describe(vorn::lastResult().errorCode()) != "vorn 14 FORKED_SESSION")
      return "the end of the parent's reader";
    MIRAsqlDB own(true);
    if (!vorn::bindStore("NeUpgradeDB", m_childUrl).succeeded()) return "bind";
    if (run(&own, "create table if not exists t(n bigint, v bigint)") != kSuccess) return "create";
    if (own.beginTransaction() + send(&own, firstOperation, 0, 1) + send(&own, firstOperation, 1, 30) +
            own.commitTransaction() !=
        0)
      return "own store";
    if (rowsOf(&own, "select count(*) from t where v = " + std::to_string(firstOperation)) != "31")
      return "own rows";
    for (long step = 0; step < kChildOperations; ++step) {
      if (closes && step == 1) {  // which a store may take for the end of its last user
        vorn::unbindStores();
        if (!vorn::bindStore("default", m_url).succeeded()) return "bind again";
      }
      usleep(2000);  // the parent has gone on, and may have closed its connections
      if (tryInChild(firstOperation + step, step % 2 == 0 ? rows : 1, step == kChildOperations - 1))
        done |= 1 << step;
    }
    if (closes) vorn::unbindStores();
    return "";
  }

  /// Forks once, with something open, and goes on at once.
  void forkOnce() {
    const bool inTransaction = below(2) == 0, readsOn = below(3) != 0, closes = below(2) == 0,
               childCloses = below(2) == 0;
    const long before = m_ledger.begin(), after = m_ledger.begin(), inChild = m_ledger.begin(),
               rows = 1 + below(60);
    for (long more = 1; more < kChildOperations; ++more) m_ledger.begin();
    Reading reading;
    EXPECT_EQ(reading.start(db), 0U);
    reading.take(below(kReadRows));
    if (inTransaction) {
      EXPECT_EQ(describe(db->beginTransaction()), kSuccess);
    }
    EXPECT_EQ(describe(send(db, before, 0, rows)), kSuccess);
    const pid_t child = fork();
    if (child == 0) {
      alarm(60);
      int done = 0;
      const std::string wrong = workInChild(reading, inChild, rows, childCloses, done);
      if (!wrong.empty())
        std::fprintf(stderr, "in the child: %s: %s\n", wrong.c_str(),
                     vorn::lastResult().detail().value_or("").c_str());
      _exit(wrong.empty() ? done : kWrong);
    }
    if (readsOn) reading.take(kReadRows);
    EXPECT_EQ(describe(send(db, after, 0, 1)), kSuccess);
    const bool commits = inTransaction && below(3) != 0;
    if (inTransaction) {
      EXPECT_EQ(describe(commits ? db->commitTransaction() : db->rollbackTransaction()), kSuccess);
    }
    EXPECT_TRUE(reading.endsWell() && reading.last == kReadRows) << "row " << reading.last;
    reading.reader.clear();
    if (closes) {
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
    m_ledger.note(before, rows, !inTransaction || commits ? Told::Done : Told::Undone);
    m_ledger.note(after, 1, !inTransaction || commits ? Told::Done : Told::Undone);
    for (long step = 0; step < kChildOperations; ++step) {
      const bool isDone = (WEXITSTATUS(status) >> step & 1) != 0;
      m_ledger.note(inChild + step, step % 2 == 0 ? rows : 1, isDone ? Told::Done : Told::Undone);
      m_doneInChildren += isDone ? 1 : 0;
    }
  }

  std::string m_url, m_childUrl;
  std::mt19937_64 m_random{testSeed()};
  Ledger m_ledger;
  long m_doneInChildren = 0;
};

TEST_P(Forks, TwoHundredWithReadersAndTransactionsOpen) {
  for (int round = 0; round < 200 && !HasFailure(); ++round) forkOnce();
  std::printf("writes acknowledged: %ld, by children: %ld\n", m_ledger.done(), m_doneInChildren);
  const auto found = [this] {
    EXPECT_EQ(rowsOf(db, GetParam().integritySql), "ok");
    return rowsOf(db, Ledger::kQuery, Ledger::kColumns);
  };
  m_ledger.expectIn(onAnotherThread(found));
}

// A lock of the default sink that another thread held would be held in the child for ever.
TEST_F(StoreTest, AForkedChildLogsWhileOtherThreadsOfItsParentDid) {
  const auto logLine = [] { vorn::Logger::info("a line", {"Forks", "log", 1}); };
  useStore("sqlite::memory:");
  ASSERT_EQ(run(db, "create table t(n)"), kSuccess);
  vorn::setLogSink({});
  const int error = dup(2);
  const int nowhere = open("/dev/null", O_WRONLY);
  dup2(nowhere, 2);
  std::atomic<bool> done{false};
  std::thread logging([&] {
    while (!done) logLine();
  });
  bool logged = true;
  for (int round = 0; round < 200 && logged; ++round)
    logged = holdsInChild([&] {
      alarm(10);
      logLine();
      return true;
    });
  done = true;
  logging.join();
  dup2(error, 2);
  close(error);
  close(nowhere);
  EXPECT_TRUE(logged);
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
