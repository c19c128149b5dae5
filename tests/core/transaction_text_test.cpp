#include <gtest/gtest.h>

#include "exec/adapters/sql/TransactionText.h"
#include "support.h"

namespace {

TEST(TransactionTextTest, KnowsTheTextsThatBeginOrEndATransaction) {
  const std::string meanings[] = {"", "begin", "commit", "rollback"};
  for (const auto& [written, meaning] : casesOf("core/transaction_texts.txt")) {
    std::string text = written;
    for (char& byte : text) byte = byte == '^' ? '\n' : byte == '<' ? '\r' : byte == '|' ? '\f' : byte;
    EXPECT_EQ(meanings[static_cast<int>(vorn::transactionText(text))], meaning) << written;
  }
}

}  // namespace
