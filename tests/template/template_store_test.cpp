// The template of a new store, behind a library whose table of kinds knows it.
#include <algorithm>

#include "store/store_fixture.h"

namespace {

class TemplateStore : public StoreTest {
 protected:
  void SetUp() override { useStore("template:store"); }

  std::string step(const std::string& text, int columns) {
    const std::string word = text.substr(0, text.find(' '));
    if (word == "elsewhere:")
      return onAnotherThread([&] { return step(text.substr(word.size() + 1), columns); });
    const bool reads = word == "values" || word == "select" || word == "show";
    return reads ? rowsOf(db, text, columns) : run(db, text);
  }

  std::string rows() { return rowsOf(db, "select * from t"); }
  static std::uint64_t rowsCounted() {
    std::uint64_t sum = 0;
    for (const auto& each : vorn::statementStatistics()) sum += each.rows;
    return sum;
  }
  static std::string lastOutcome() { return describe(vorn::lastResult().errorCode()); }
};

TEST_F(TemplateStore, Scenarios) {
  for (const auto& [text, outcome] : casesOf("template/scenarios.txt")) {
    if (text.empty()) SetUp();
    const auto bars = std::count(outcome.begin(), std::find(outcome.begin(), outcome.end(), ';'), '|');
    const std::string found = text.empty() ? kSuccess : step(text, 1 + static_cast<int>(bars));
    EXPECT_EQ(found, outcome.empty() ? kSuccess : outcome) << text;
  }
  for (const char* const url : {"template:", "template:s?mode=sideways", "template:s?mood=read"}) {
    EXPECT_EQ(describe(vorn::bindStore("default", url).errorCode()), "vorn 1 INVALID_URL") << url;
  }
  useStore("template:store?mode=read");
  EXPECT_EQ(run(db, "insert into t values (1)"), "template 5 READ_ONLY");
}

TEST_F(TemplateStore, ErrorsHaveTheirClassAndTheirOwnWords) {
  using vorn::ErrorClass;
  const std::pair<int, ErrorClass> cases[] = {{1, ErrorClass::Statement},      {3, ErrorClass::Retry},
                                              {4, ErrorClass::Constraint},     {5, ErrorClass::Permission},
                                              {7, ErrorClass::ConnectionLost}, {999, ErrorClass::Other}};
  for (const auto& [code, expected] : cases) {
    EXPECT_EQ(vorn::errorClass(db->execWriteSQL(raw("raise " + std::to_string(code)))), expected) << code;
    EXPECT_EQ(vorn::lastResult().detail(), "raised by the statement");
  }
}

TEST_F(TemplateStore, ReadersStreamMoveIntoMemoryAreGivenUpAndBreakOff) {
  const long before = residentKilobytes();
  CVORNReader reader, other;
  ASSERT_EQ(db->execReadSQL(raw("count to 300000"), reader), 0U);
  while (reader.hasNextElement()) continue;
  EXPECT_LT(residentKilobytes() - before, 4096);

  ASSERT_EQ(db->execReadSQL(raw("count to 300"), reader), 0U);
  ASSERT_EQ(db->execReadSQL(raw("count to 9000000000"), other), 0U);
  other.clear();
  for (long number = 1, found = 0; number <= 300; ++number, found = 0) {
    EXPECT_TRUE(reader.hasNextElement());
    reader >> found;
    ASSERT_EQ(found, number);
    ASSERT_EQ(run(db, "insert into t values (" + std::to_string(number) + ")"), kSuccess);
  }
  EXPECT_TRUE(!reader.hasNextElement() && lastOutcome() == kSuccess) << lastOutcome();

  for (const bool fromMemory : {false, true}) {
    ASSERT_EQ(db->execReadSQL(raw("values (1),(2),(raise 3)"), reader), 0U);
    EXPECT_EQ(fromMemory ? run(db, "hangup") : "", fromMemory ? "vorn 15 CONNECTION_LOST" : "");
    int rows = 0;
    while (reader.hasNextElement()) ++rows;
    EXPECT_EQ(std::to_string(rows) + " " + lastOutcome(), "2 template 3 BUSY");
  }
}

TEST_F(TemplateStore, BatchesStoreAllRowsOrNone) {
  for (const bool nested : {false, true}) {
    SetUp();
    EXPECT_EQ(nested ? db->beginTransaction() : 0, 0U);
    EXPECT_EQ(run(db, "insert into t values (7)"), kSuccess);
    EXPECT_EQ(describe(db->ExecBatchInserter(numbers(10))), "template 4 DUPLICATE");
    EXPECT_EQ(rows(), "7");
    const std::uint64_t counted = rowsCounted();
    EXPECT_EQ(describe(db->ExecBatchInserter(numbers(2))), kSuccess);
    BatchInserter misfit;
    misfit.table("t");
    misfit["n"] << ~0UL;
    EXPECT_EQ(describe(db->ExecBatchInserter(misfit)), "vorn 7 VALUE_OUT_OF_RANGE");
    EXPECT_EQ(rowsCounted() - counted, 2U);
    EXPECT_EQ(nested ? db->commitTransaction() : 0, 0U);
    EXPECT_EQ(onAnotherThread([this] { return rows(); }), "7;0;1");
  }
}

TEST_F(TemplateStore, PoolIsBoundedThreadsRollBackForksInheritNothing) {
  useStore("template:store?pool_size=1&acquire_timeout_ms=50");
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("count to 2"), reader), 0U);
  EXPECT_EQ(onAnotherThread([this] { return rows(); }), "vorn 3 POOL_EXHAUSTED");
  reader.clear();
  const auto leaveOpen = [this] {
    return db->beginTransaction() == 0 && run(db, "insert into t values (1)") == kSuccess;
  };
  EXPECT_TRUE(onAnotherThread(leaveOpen));
  EXPECT_EQ(rows(), "template 2 NO_SUCH_TABLE") << "rolled back by the end of the thread";

  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(db->execReadSQL(raw("count to 2"), reader), 0U);
  EXPECT_TRUE(holdsInChild([&] {
    return !reader.hasNextElement() && lastOutcome() == "vorn 14 FORKED_SESSION" &&
           rows() == "vorn 10 TRANSACTION_LOST" && run(db, "rollback") == kSuccess &&
           rowsOf(db, "values (1)") == "1";
  }));
  EXPECT_TRUE(reader.hasNextElement()) << "the parent goes on";
  EXPECT_EQ(run(db, "insert into t values (1)"), kSuccess);
  EXPECT_EQ(db->commitTransaction(), 0U);
  EXPECT_EQ(rows(), "1");
}

}  // namespace
