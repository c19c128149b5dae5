#include <gtest/gtest.h>

#include <map>

#include "exec/adapters/TransactionText.h"
#include "support.h"

namespace {

using vorn::TransactionText;

TEST(TransactionTextTest, KnowsTheTextsThatBeginOrEndATransaction) {
  const std::map<std::string, TransactionText> meanings = {{"", TransactionText::None},
                                                           {"begin", TransactionText::Begin},
                                                           {"commit", TransactionText::Commit},
                                                           {"rollback", TransactionText::Rollback}};
  for (const auto& [written, meaning] : casesOf("core/transaction_texts.txt")) {
    std::string text = written;
    for (char& byte : text) byte = byte == '^' ? '\n' : byte == '<' ? '\r' : byte == '|' ? '\f' : byte;
    EXPECT_EQ(vorn::transactionText(text), meanings.at(meaning)) << written;
  }
}

}  // namespace
