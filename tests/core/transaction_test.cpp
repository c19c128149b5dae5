#include <new>
#include <thread>

#include "scripted/scripted_platform.h"
#include "support.h"
#include "vorn/transaction.h"

namespace {

/// A database whose transactions go as a list of steps says, and the work inside of them as well.
class Steps : public CVORN {
 public:
  explicit Steps(const std::string& steps) : m_steps(split(steps, "; ")) {}

  /// Takes the next step, which has to be this one. @return its answer
  unsigned long take(const std::string& name) {
    const std::string step = m_next < m_steps.size() ? m_steps[m_next++] : "none is left";
    const std::vector<std::string> words = split(step, " ");
    EXPECT_EQ(name, words[0]);
    if (words[1] == "throws") throw std::bad_alloc();
    const std::vector<std::string> codes = split(words[1], "/");
    scripted::platform().last = {0, std::strtoul(codes.back().c_str(), nullptr, 10), ""};
    return std::strtoul(codes[0].c_str(), nullptr, 10);
  }

  bool allTaken() const { return m_next == m_steps.size(); }

  unsigned long beginTransaction() override { return take("begin"); }
  unsigned long commitTransaction() override { return take("commit"); }
  unsigned long rollbackTransaction() override { return take("rollback"); }
  unsigned long execReadSQL(const CVORNBase&, CVORNReader&) override { return 1; }
  unsigned long execWriteSQL(const CVORNBase&) override { return 1; }
  unsigned long ExecBatchInserter(const BatchInserter&) override { return 1; }

 private:
  std::vector<std::string> m_steps;
  std::size_t m_next = 0;
};

class TransactionSteps : public scripted::PlatformTest {};

TEST_F(TransactionSteps, AreTriedAgainWhereNothingWasKept) {
  const std::string also = "also 3; ";
  for (const auto& [steps, outcome] : casesOf("core/retries.txt")) {
    const bool retriesLost = steps.rfind(also, 0) == 0;
    Steps db(retriesLost ? steps.substr(also.size()) : steps);
    vorn::RetryPolicy policy;
    policy.attempts = 3;
    policy.firstPause = std::chrono::milliseconds(0);
    if (retriesLost) policy.classes.push_back(vorn::ErrorClass::ConnectionLost);
    std::string returned = "throws";
    try {
      returned = std::to_string(vorn::retryTransaction(
          db, [&db](CVORN&) { return db.take("work"); }, policy));
    } catch (const std::bad_alloc&) {
    }
    EXPECT_EQ(returned, outcome) << steps;
    EXPECT_TRUE(db.allTaken()) << steps;
  }
}

TEST_F(TransactionSteps, WaitBetweenAttemptsUpToALimit) {
  std::string steps = "begin 2";
  for (int attempt = 1; attempt < 40; ++attempt) steps += "; begin 2";
  Steps db(steps);
  const auto start = std::chrono::steady_clock::now();
  const vorn::RetryPolicy policy{
      40, std::chrono::milliseconds(1), std::chrono::milliseconds(2), 1e9, {vorn::ErrorClass::Retry}};
  EXPECT_EQ(vorn::retryTransaction(
                db, [](CVORN&) { return 0UL; }, policy),
            2U);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_TRUE(db.allTaken());
  EXPECT_GT(waited, std::chrono::milliseconds(10));
  EXPECT_LT(waited, std::chrono::seconds(30));
}

TEST_F(TransactionSteps, EndOnceAndOnTheirOwnThread) {
  Steps committed("begin 0; commit 0");
  {
    vorn::Transaction transaction(committed);
    EXPECT_EQ(transaction.commit(), 0U);
    EXPECT_EQ(transaction.commit() + transaction.rollback(), 2U);
  }
  Steps refused("begin 8");
  {
    vorn::Transaction transaction(refused);
    EXPECT_EQ(transaction.commit() + transaction.rollback() + transaction.code(), 24U);
  }
  Steps abandoned("begin 0; rollback 0");
  {
    vorn::Transaction transaction(abandoned);
    std::thread([&] { EXPECT_EQ(transaction.commit() + transaction.rollback(), 2U); }).join();
  }
  Steps moved("begin 0");
  auto elsewhere = std::make_unique<vorn::Transaction>(moved);
  scripted::takeEvents();
  std::thread([&] { elsewhere.reset(); }).join();
  EXPECT_NE(scripted::takeEvents().find("a transaction stays open"), std::string::npos);
  EXPECT_TRUE(committed.allTaken() && refused.allTaken() && abandoned.allTaken() && moved.allTaken());
}

}  // namespace
