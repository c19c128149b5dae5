#include <gtest/gtest.h>

#include "exec/adapters/mariadb/MariaDbDialect.h"
#include "exec/adapters/postgres/PostgresDialect.h"
#include "exec/adapters/sql/StatementShape.h"
#include "exec/adapters/sql/TransactionText.h"
#include "exec/adapters/sqlite/SqliteDialect.h"
#include "store/StatementGenerator.h"
#include "support.h"

namespace {

using vorn::StatementShape;

const std::pair<std::string, const vorn::SqlDialect&> kStores[] = {{"SQLITE", vorn::kSqliteDialect},
                                                                   {"POSTGRESQL", vorn::kPostgresDialect},
                                                                   {"MARIADB", vorn::kMariaDbDialect}};

TEST(StatementShapeTest, LiftsTheLiteralsOfWhatIsUnderstoodWhole) {
  for (const auto& [text, expected] : casesOf("core/shapes.txt")) {
    const std::size_t blank = text.find(' ');
    const vorn::SqlDialect& dialect = kStores[std::string("SPM").find(text[0])].second;
    StatementShape shape;
    shape.read(text.substr(blank + 1), dialect);
    const std::string lifted = shape.liftable() ? shape.statement() : "";
    EXPECT_EQ(blank == 2 ? StatementShape::masked(shape.key(), dialect) : lifted, expected) << text;
  }
}

TEST(StatementShapeTest, ShowsNoValueOfTextsPutTogetherAtRandom) {
  StatementGenerator generator("core/masked_texts.txt", testSeed());
  for (int round = 0; round < 60000; ++round) {
    const auto& [name, dialect] = kStores[round % 3];
    std::string text = generator.text(name);
    // A literal that begins a line goes on with the one before it, which may be of another kind and end
    // elsewhere.
    for (const std::string quote : {"\n'", "\n '"})
      text = replaced(text, quote, quote.substr(0, quote.size() - 1) + "('");
    if (generator.below(4) == 0) text.resize(generator.below(text.size() + 1));
    StatementShape shape;
    shape.read(text, dialect);
    const std::string shown = StatementShape::masked(shape.key(), dialect);
    ASSERT_EQ(shown.find_first_of("qQ7"), std::string::npos) << name << ": " << text << "\n" << shown;
  }
}

TEST(TransactionTextTest, KnowsTheTextsThatBeginOrEndATransaction) {
  const std::string meanings[] = {"", "begin", "commit", "rollback"};
  for (const auto& [written, meaning] : casesOf("core/transaction_texts.txt")) {
    std::string text = written;
    for (char& byte : text) byte = byte == '^' ? '\n' : byte == '<' ? '\r' : byte == '|' ? '\f' : byte;
    EXPECT_EQ(meanings[static_cast<int>(vorn::transactionText(text))], meaning) << written;
  }
}

}  // namespace
