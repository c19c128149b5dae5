#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <initializer_list>
#include <map>
#include <random>
#include <thread>

#include "exec/adapters/ConnectionPool.h"
#include "exec/adapters/RowBuffer.h"
#include "exec/adapters/TransactionText.h"
#include "faults/FailingAllocations.h"
#include "layer/ScriptedStore.h"
#include "support.h"
#include "vorn/platform/logging.h"
#include "vorn/platform/stores.h"

namespace {

using vorn::RowValue;
using Extent = FailingAllocations::Extent;

std::string bytesOf(std::string text) {
  const std::map<std::string, std::string> escapes = {{"\\n", "\n"}, {"\\r", "\r"}, {"\\f", "\f"}};
  for (const auto& [escape, byte] : escapes) {
    for (std::size_t at = 0; (at = text.find(escape, at)) != std::string::npos;) text.replace(at, 2, byte);
  }
  return text;
}

TEST(TransactionTextTest, KnowsTheTextsThatBeginOrEndATransaction) {
  const std::map<vorn::TransactionText, std::string> names = {{vorn::TransactionText::None, ""},
                                                              {vorn::TransactionText::Begin, "begin"},
                                                              {vorn::TransactionText::Commit, "commit"},
                                                              {vorn::TransactionText::Rollback, "rollback"}};
  for (const auto& [text, meaning] : casesOf("layer/transaction_texts.txt")) {
    EXPECT_EQ(names.at(vorn::transactionText(bytesOf(text))), meaning) << text;
  }
}

std::string textOf(const std::vector<RowValue>& row) {
  std::string text;
  for (const RowValue& value : row) text += value.text() + "|";
  return text;
}

TEST(RowBufferTest, DeliversEachRowOnceInOrderWhateverFails) {
  std::mt19937 random(testSeed());
  vorn::RowBuffer buffer;
  long pushed = 0, popped = 0, failed = 0;
  const auto fill = [](std::vector<RowValue>& row, long number) {
    const std::string text(static_cast<std::size_t>(number * 37 % 301 + (number % 997 == 0 ? 3000000 : 0)),
                           static_cast<char>('a' + number % 26));
    row.resize(4);
    row[0].setInteger(number), row[1].setText(text.data(), text.size()), row[2].setReal(0.5 * static_cast<double>(number)),
        row[3].setNull();
  };
  while (popped < 20000) {
    std::vector<RowValue> row, expected;
    const bool push = pushed < 20000 && (pushed == popped || random() % 7 < 4);
    fill(expected, push ? pushed + 1 : popped + 1);
    const FailingAllocations failing(static_cast<long>(random() % 6), Extent::Once);
    try {
      if (push) {
        buffer.push(expected), ++pushed;
      } else if (buffer.pop(row)) {
        ++popped;
        ASSERT_EQ(textOf(row), textOf(expected));
      }
    } catch (const std::bad_alloc&) { ++failed; }
  }
  std::vector<RowValue> row;
  EXPECT_FALSE(buffer.pop(row));
  EXPECT_GT(failed, 100);
  std::vector<RowValue> none;
  buffer.push(none), buffer.push(none);
  EXPECT_TRUE(buffer.pop(row) && row.empty() && buffer.pop(row) && !buffer.pop(row)) << "rows without columns are rows";
}

class Layer : public testing::Test {
 protected:
  Layer() {
    m_store.reset();
    bind("");
    vorn::setLogSink([](const vorn::LogRecord&) {});
  }
  ~Layer() override {
    vorn::setLogSink({});
    vorn::unbindStores();
    EXPECT_EQ(m_store.open, 0) << "every connection came back";
  }

  static void bind(const std::string& options) { EXPECT_TRUE(vorn::bindStore("default", "any:thing" + options).succeeded()); }

  /// Runs a step on a session of its own: a text, or the call of that name with a '!'.
  static std::string step(const std::string& text, vorn::SqlKind kind = vorn::SqlKind::Write) try {
    vorn::DataSession session("default");
    const vorn::ExecResult result = text == "begin!"      ? session.beginTransaction()
                                    : text == "commit!"   ? session.commit()
                                    : text == "rollback!" ? session.rollback()
                                                          : session.execute("test", kind, text, vorn::NoParameters);
    EXPECT_EQ(vorn::lastResult().errorCode(), result.errorCode());
    const std::string name = vorn::describeError(result.errorCode());
    return name.substr(name.rfind(' ') + 1);
  } catch (const std::bad_alloc&) { return "exception"; }

  static vorn::StatementStatistics figures() {
    for (const auto& entry : vorn::statementStatistics()) {
      if (entry.statementId == "test") return entry;
    }
    return {};
  }

  static bool fetch(vorn::DataSession& session, std::vector<RowValue>& row, vorn::ExecResult& status) {
    vorn::TypedRef target;
    target.type.code = vorn::type_code::kRow;
    target.object = &row;
    return session.fetchRow(status, target, 1);
  }

  ScriptedStore& m_store = ScriptedStore::instance();
};

// Scenarios: each is a list of steps and outcomes, "success" where none stands.
TEST_F(Layer, TextsCountAsTheCallsOfTheSameMeaning) {
  const std::vector<std::string> ends = {"rollback", "rollback!"}, begins = {"begin", "begin!"}, commits = {"commit", "commit!"};
  for (const bool call : {false, true}) {
    const std::string begin = begins[call], commit = commits[call], rollback = ends[call];
    for (const bool begunByCall : {false, true}) {
      SCOPED_TRACE(begin + " " + begins[begunByCall]);
      const std::vector<std::pair<std::string, std::string>> steps = {{begins[begunByCall], ""},
                                                                      {"lose", "NOT_SUPPORTED"},
                                                                      {"x", "TRANSACTION_LOST"},
                                                                      {rollback, ""},
                                                                      {"x", ""},
                                                                      {begins[begunByCall], ""},
                                                                      {"lose", "NOT_SUPPORTED"},
                                                                      {begin, ""},
                                                                      {"x", ""},
                                                                      {"commit!", ""},
                                                                      {begins[begunByCall], ""},
                                                                      {"lose", "NOT_SUPPORTED"},
                                                                      {commit, "TRANSACTION_LOST"},
                                                                      {"x", ""},
                                                                      {begins[begunByCall], ""},
                                                                      {"lose", "NOT_SUPPORTED"},
                                                                      {"commit and chain", "TRANSACTION_LOST"},
                                                                      {"rollback", ""},
                                                                      {begins[begunByCall], ""},
                                                                      {commit, ""},
                                                                      {"x", ""},
                                                                      {"commit!", "NO_TRANSACTION"},
                                                                      {begins[begunByCall], ""},
                                                                      {"x", ""},
                                                                      {rollback, ""},
                                                                      {"rollback!", "NO_TRANSACTION"}};
      for (const auto& [text, outcome] : steps) EXPECT_EQ(step(text), outcome.empty() ? "success" : outcome) << text;
    }
  }
  // A commit that failed and ended the transaction has said so itself.
  for (const auto& [text, outcome] : casesOf("layer/failed_ends.txt")) EXPECT_EQ(step(text), outcome.empty() ? "success" : outcome) << text;
}

TEST_F(Layer, ExceptionLeavesNoTransactionThatNobodyKnowsOf) {
  EXPECT_EQ(step("begin+throw"), "exception");
  EXPECT_EQ(m_store.open, 0) << "the connection went with what it had begun";
  EXPECT_EQ(step("x"), "success");
  EXPECT_EQ(step("begin!"), "success");
  EXPECT_EQ(step("throw"), "exception");
  EXPECT_EQ(step("commit!"), "success") << "the caller's transaction goes on";
  EXPECT_EQ(step("begin!"), "success");
  EXPECT_EQ(step("commit+throw"), "exception");
  EXPECT_EQ(step("x"), "TRANSACTION_LOST");
  EXPECT_EQ(step("rollback"), "success");
  EXPECT_EQ(m_store.closedInside, 0);
}

TEST_F(Layer, ConnectionGoesBackRenewedOrIsClosedAndABindingCountsFromTheNextCallAtRest) {
  EXPECT_EQ(step("x") + step("x"), "successsuccess");
  EXPECT_EQ(m_store.opened, 1);
  EXPECT_EQ(step("soil"), "success");
  EXPECT_EQ(m_store.open, 0) << "it could not be renewed";
  EXPECT_EQ(step("begin!"), "success");
  EXPECT_EQ(step("soil"), "success");
  EXPECT_EQ(m_store.open, 1) << "a thread keeps it while it holds it";
  const int before = m_store.opened;
  bind("");
  EXPECT_EQ(step("x"), "success");
  EXPECT_EQ(m_store.opened, before) << "the transaction goes on in the old store";
  EXPECT_EQ(step("lose"), "NOT_SUPPORTED");
  EXPECT_EQ(m_store.open, 0);
  EXPECT_EQ(step("rollback"), "success");
  EXPECT_EQ(step("x"), "success");
  EXPECT_EQ(m_store.opened, before + 1);
}

TEST_F(Layer, ReadEndsWithAFailureAfterAnException) {
  for (int at = 1; at <= 3; ++at) {
    vorn::DataSession session("default");
    vorn::ExecResult status;
    std::vector<RowValue> row;
    m_store.throwAtRow = at;
    ASSERT_TRUE(session.execute("test", vorn::SqlKind::Read, "select 3", vorn::NoParameters).succeeded());
    for (int number = 1; number < at; ++number) ASSERT_TRUE(fetch(session, row, status) && row[0].integer() == number);
    EXPECT_THROW(fetch(session, row, status), std::bad_alloc);
    EXPECT_TRUE(row.empty()) << "half a row is none";
    EXPECT_FALSE(fetch(session, row, status));
    EXPECT_EQ(vorn::describeError(status.errorCode()), "vorn 17 OUT_OF_MEMORY");
    EXPECT_EQ(vorn::lastResult().errorCode(), status.errorCode());
    EXPECT_THROW(session.execute("test", vorn::SqlKind::Read, "select 3+throw", vorn::NoParameters), std::bad_alloc);
    EXPECT_FALSE(fetch(session, row, status) || status.succeeded()) << "no empty result";
    m_store.throwAtRow = 0;
    ASSERT_TRUE(session.execute("test", vorn::SqlKind::Read, "select 1", vorn::NoParameters).succeeded());
    EXPECT_TRUE(fetch(session, row, status) && !fetch(session, row, status) && status.succeeded());
  }
}

// Every allocation on the way fails once, and all of them from it on.
TEST_F(Layer, StatementThatHasRunEndsWithItsOutcomeWhereverMemoryEnds) {
  for (const std::string text : {"x", "refuse", "begin!", "commit!", "lose", "rollback", "begin"}) {
    for (const Extent extent : {Extent::Once, Extent::Lasting}) {
      bool struck = true;
      for (long first = 1; struck; ++first) {
        // A session and a statement identifier that are new to the thread. The C library itself ends a process that has
        // no memory for the destructor of a thread's first object.
        std::thread([&] {
          EXPECT_TRUE(vorn::lastResult().succeeded());
          const bool ends = text == "commit!" || text == "lose" || text == "rollback";
          if (ends) { EXPECT_EQ(step("begin!"), "success"); }
          const int ranBefore = m_store.ran;
          bool threw = false;
          vorn::ExecResult result;
          {
            const FailingAllocations failing(first, extent);
            try {
              vorn::DataSession session("default");
              result = text == "begin!"    ? session.beginTransaction()
                       : text == "commit!" ? session.commit()
                                           : session.execute("id " + text, vorn::SqlKind::Write, text, vorn::NoParameters);
            } catch (const std::bad_alloc&) { threw = true; }
            struck = failing.struck();
          }
          // The scripted store itself allocates before it counts, so what was counted has run.
          EXPECT_FALSE(threw && m_store.ran != ranBefore) << text << ' ' << first;
          if (!threw) { EXPECT_EQ(vorn::lastResult().errorCode(), result.errorCode()); }
        }).join();
        ASSERT_EQ(step("x"), "success");
      }
    }
  }
  EXPECT_EQ(m_store.closedInside, 0) << "thread ends roll back";
}

TEST_F(Layer, FailedStatementCountsNoRows) {
  const vorn::StatementStatistics before = figures();
  EXPECT_EQ(step("x") + step("refuse") + step("throw"), "successNOT_SUPPORTEDexception");
  const vorn::StatementStatistics after = figures();
  EXPECT_EQ(after.rows - before.rows, 1U);
  EXPECT_EQ(after.failures - before.failures, 2U);
  EXPECT_EQ(after.calls - before.calls, 3U);
}

TEST_F(Layer, PoolKeepsItsRoomAndItsMemoryWhateverFails) {
  vorn::ConnectionPool::Limits limits;
  limits.size = 300, limits.acquireTimeout = std::chrono::milliseconds(0);
  vorn::ConnectionPool pool("default", scriptedDriver(), limits);
  std::vector<std::unique_ptr<vorn::StoreConnection>> lent(301);
  for (int round = 0; round < 3; ++round) {
    for (long first = 1; first < 4; ++first) {
      const FailingAllocations failing(first, Extent::Lasting);
      try {
        if (pool.acquire(lent[0]).succeeded()) pool.discard(std::move(lent[0]));
      } catch (const std::bad_alloc&) { EXPECT_FALSE(lent[0]); }
    }
    for (std::size_t at = 0; at < 300; ++at) ASSERT_TRUE(pool.acquire(lent[at]).succeeded());
    EXPECT_EQ(vorn::describeError(pool.acquire(lent[300]).errorCode()), "vorn 3 POOL_EXHAUSTED");
    {
      const FailingAllocations failing(1, Extent::Lasting);
      for (std::size_t at = 0; at < 300; ++at) pool.release(std::move(lent[at]));
      if (round != 1) pool.closeIdle();
      EXPECT_FALSE(failing.struck());
    }
    EXPECT_EQ(m_store.open, round == 1 ? 300 : 0);
  }
  pool.close();
}

TEST_F(Layer, ForkDrainsAndClosesWhatTheForkingThreadHoldsButNoTransaction) {
  for (const bool closes : {false, true}) {
    for (const bool inTransaction : {false, true}) {
      m_store.closesIdleBeforeFork = closes;
      bind("");
      if (inTransaction) { ASSERT_EQ(step("begin!"), "success"); }
      vorn::DataSession session("default");
      vorn::ExecResult status;
      std::vector<RowValue> row;
      ASSERT_TRUE(session.execute("test", vorn::SqlKind::Read, "select 3", vorn::NoParameters).succeeded());
      ASSERT_TRUE(fetch(session, row, status));
      const int open = m_store.open;
      const pid_t child = fork();
      if (child == 0) {
        // What is inherited is neither used nor closed, and what the child has begun is its own.
        const int inherited = m_store.open;
        const bool ended = !fetch(session, row, status) && vorn::describeError(status.errorCode()) == "vorn 14 FORKED_SESSION";
        const std::string first = step("x");
        const bool told = !inTransaction || (step("rollback") == "success" && step("x") == "success");
        const std::string expected = inTransaction ? "TRANSACTION_LOST" : "success";
        _exit(ended && first == expected && told && m_store.open == inherited + 1 ? 0 : 1);
      }
      int outcome = -1;
      EXPECT_TRUE(waitpid(child, &outcome, 0) == child && outcome == 0);
      EXPECT_EQ(m_store.open, closes && !inTransaction ? 0 : open);
      EXPECT_TRUE(fetch(session, row, status) && row[0].integer() == 2 && fetch(session, row, status) && row[0].integer() == 3);
      EXPECT_FALSE(fetch(session, row, status));
      if (inTransaction) { EXPECT_EQ(step("commit!"), "success"); }
    }
  }
}

// A destructor of the thread's own, which runs after the layer's.
struct AtThreadEnd {
  std::function<void()> work;
  ~AtThreadEnd() { work(); }
};

TEST_F(Layer, ThreadEndServesItsDestructorsAndItsLogSinkAndKeepsNothing) {
  std::string outcomes;
  const auto note = [&](std::initializer_list<const char*> steps) {
    for (const char* text : steps) outcomes += step(text) + " ";
  };
  int logged = 0;
  vorn::setLogSink([&](const vorn::LogRecord& record) {
    if (record.text.find("thread ended") != std::string::npos && ++logged < 3) note({"begin!"});
  });
  std::thread([&] {
    thread_local AtThreadEnd first, second;
    second.work = [&] { note({"begin!", "x"}); };
    first.work = [&] { note({"commit!", "x", "begin"}); };
    EXPECT_EQ(step("begin!"), "success");
  }).join();
  EXPECT_EQ(outcomes, "success TRANSACTION_OPEN success success success success success ");
  EXPECT_EQ(m_store.closedInside, 1) << "what the sink began last of all went with its connection";
  vorn::setLogSink([](const vorn::LogRecord&) {});
  bind("");
  EXPECT_EQ(m_store.open, 0) << "every connection was given back";
}

}  // namespace
