#include <new>
#include <sstream>
#include <thread>

#include "scripted/scripted_platform.h"
#include "support.h"
#include "vorn/transaction.h"

namespace {

using scripted::platform;

struct TransactionSteps : scripted::PlatformTest {
  /// Lets transactions go as a list of steps says, and the work inside of them as well.
  void follow(const std::string& list) {
    steps = std::istringstream(list);
    platform.answer = [this](const std::string& name, auto&) { return vorn::ExecResult(0, take(name), ""); };
  }

  /// Takes the next step, which has to be this one. @return its answer
  unsigned long take(const std::string& name) {
    std::string step, answer;
    steps >> step >> answer;
    EXPECT_EQ(name, step);
    if (answer.rfind("throws", 0) == 0) throw std::bad_alloc();
    platform.last = {0, std::stoul(answer.substr(answer.find('/') + 1)), ""};
    return std::stoul(answer);
  }

  bool allTaken() { return (steps >> std::ws).eof(); }

  std::istringstream steps;
  MIRAsqlDB db{false};
};

TEST_F(TransactionSteps, AreTriedAgainWhereNothingWasKept) {
  const std::string also = "also 3; ";
  for (const auto& [list, outcome] : casesOf("core/retries.txt")) {
    const bool retriesLost = list.rfind(also, 0) == 0;
    follow(retriesLost ? list.substr(also.size()) : list);
    vorn::RetryPolicy policy;
    policy.attempts = 3;
    policy.firstPause = std::chrono::milliseconds(0);
    if (retriesLost) policy.classes.push_back(vorn::ErrorClass::ConnectionLost);
    const auto work = [this](CVORN&) { return take("work"); };
    std::string returned = "throws";
    try {
      returned = std::to_string(vorn::retryTransaction(db, work, policy));
    } catch (const std::bad_alloc&) {
    }
    EXPECT_EQ(returned, outcome) << list;
    EXPECT_TRUE(allTaken()) << list;
  }
}

TEST_F(TransactionSteps, WaitBetweenAttemptsUpToALimit) {
  platform.answer = [](auto&, auto&) { return vorn::ExecResult(0, 2, ""); };
  const vorn::RetryPolicy policy{
      40, std::chrono::milliseconds(1), std::chrono::milliseconds(2), 1e9, {vorn::ErrorClass::Retry}};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(vorn::retryTransaction(db, nullptr, policy), 2U);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GT(waited, std::chrono::milliseconds(10));
  EXPECT_LT(waited, std::chrono::seconds(30));
}

TEST_F(TransactionSteps, EndOnceAndOnTheirOwnThread) {
  follow("begin 0; commit 0; begin 8; begin 0");
  {
    vorn::Transaction committed(db);
    EXPECT_EQ(committed.commit(), 0U);
    EXPECT_EQ(committed.commit() + committed.rollback(), 2U);
    vorn::Transaction refused(db);
    EXPECT_EQ(refused.commit() + refused.rollback() + refused.code(), 24U);
  }
  auto moved = std::make_unique<vorn::Transaction>(db);
  std::thread([&moved] {
    EXPECT_EQ(moved->commit() + moved->rollback(), 2U);
    moved.reset();
  }).join();
  EXPECT_NE(scripted::takeEvents().find("a transaction stays open"), std::string::npos);
  EXPECT_TRUE(allTaken());
}

}  // namespace
