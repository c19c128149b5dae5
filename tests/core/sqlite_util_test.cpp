#include "vorn/sqlite_util.h"

#include <gtest/gtest.h>

namespace {

TEST(SQLiteUtil, IsOneInstanceAndDoublesSingleQuotesOnly) {
  CSQLiteUtil* const util = CSQLiteUtil::getInstance();
  EXPECT_EQ(CSQLiteUtil::getInstance(), util);
  EXPECT_EQ(util->replaceSpecialChar('\'') + util->replaceSpecialChar('a'), "''a");
  EXPECT_EQ(util->replaceSpecialChar("it's\\\""), "it''s\\\"");
}

}  // namespace
