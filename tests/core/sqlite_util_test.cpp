#include "vorn/sqlite_util.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

CSQLiteUtil* seenBeforeLoad[2];

// Runs before the constructors of every source file in this program, the library's own among them.
__attribute__((constructor(101))) void callBeforeLoad() {
  std::atomic<int> waiting{2};
  const auto call = [&waiting](CSQLiteUtil** seen) {
    for (--waiting; waiting > 0;) std::this_thread::yield();
    *seen = CSQLiteUtil::getInstance();
  };
  std::thread first(call, &seenBeforeLoad[0]), second(call, &seenBeforeLoad[1]);
  first.join(), second.join();
}

TEST(SQLiteUtil, IsOneInstanceForCallersBeforeLoadTooAndDoublesSingleQuotesOnly) {
  CSQLiteUtil* const util = CSQLiteUtil::getInstance();
  ASSERT_NE(util, nullptr);
  for (CSQLiteUtil* const seen : seenBeforeLoad) EXPECT_EQ(seen, util);
  EXPECT_EQ(util->replaceSpecialChar('\'') + util->replaceSpecialChar('a'), "''a");
  EXPECT_EQ(util->replaceSpecialChar('\0'), std::string(1, '\0'));
  EXPECT_EQ(util->replaceSpecialChar("it's\\\""), "it''s\\\"");
}

}  // namespace
