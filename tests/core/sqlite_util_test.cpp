#include "vorn/sqlite_util.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

CSQLiteUtil* seenBeforeLoad[2];

// Runs before the constructors of every source file in this program, the library's own among them.
__attribute__((constructor(101))) void callBeforeLoad() {
  std::atomic<int> waiting{2};
  const auto call = [&](CSQLiteUtil*& seen) {
    --waiting;
    while (waiting > 0) std::this_thread::yield();
    seen = CSQLiteUtil::getInstance();
  };
  std::thread first(call, std::ref(seenBeforeLoad[0]));
  std::thread second(call, std::ref(seenBeforeLoad[1]));
  first.join();
  second.join();
}

TEST(SQLiteUtil, CallersBeforeLoadGetTheOneInstance) {
  EXPECT_NE(CSQLiteUtil::getInstance(), nullptr);
  EXPECT_EQ(seenBeforeLoad[0], CSQLiteUtil::getInstance());
  EXPECT_EQ(seenBeforeLoad[1], CSQLiteUtil::getInstance());
}

TEST(SQLiteUtil, DoublesSingleQuotesOnly) {
  CSQLiteUtil* const util = CSQLiteUtil::getInstance();
  EXPECT_EQ(util->replaceSpecialChar('\''), "''");
  EXPECT_EQ(util->replaceSpecialChar('a'), "a");
  EXPECT_EQ(util->replaceSpecialChar('\0'), std::string(1, '\0'));
  EXPECT_EQ(util->replaceSpecialChar("it's\\\""), "it''s\\\"");
  EXPECT_EQ(util->replaceSpecialChar(""), "");
}

}  // namespace
