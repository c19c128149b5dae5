#include "vorn/sqlite_util.h"

#include <gtest/gtest.h>

namespace {

CSQLiteUtil* seenBeforeLoad;

// Runs before the constructors of every source file in this program, the library's own among them.
__attribute__((constructor(101))) void callBeforeLoad() {
  seenBeforeLoad = CSQLiteUtil::getInstance();
}

TEST(SQLiteUtil, IsOneInstanceForCallersBeforeLoadTooAndDoublesSingleQuotesOnly) {
  CSQLiteUtil* const util = CSQLiteUtil::getInstance();
  ASSERT_NE(util, nullptr);
  EXPECT_EQ(seenBeforeLoad, util);
  EXPECT_EQ(util->replaceSpecialChar('\'') + util->replaceSpecialChar('a'), "''a");
  EXPECT_EQ(util->replaceSpecialChar('\0'), std::string(1, '\0'));
  EXPECT_EQ(util->replaceSpecialChar("it's\\\""), "it''s\\\"");
}

}  // namespace
