#include <gtest/gtest.h>

#include <random>

#include "exec/adapters/mariadb/MariaDbDialect.h"
#include "exec/adapters/postgres/PostgresDialect.h"
#include "exec/adapters/sql/StatementShape.h"
#include "exec/adapters/sqlite/SqliteDialect.h"
#include "support.h"

namespace {

using vorn::StatementShape;

TEST(StatementShapeTest, LiftsTheLiteralsOfWhatIsUnderstoodWhole) {
  for (const auto& [text, expected] : casesOf("core/shapes.txt")) {
    const std::size_t blank = text.find(' ');
    const std::string sql = text.substr(blank + 1);
    const vorn::SqlDialect& dialect = text[0] == 'S'   ? vorn::kSqliteDialect
                                      : text[0] == 'P' ? vorn::kPostgresDialect
                                                       : vorn::kMariaDbDialect;
    StatementShape shape;
    shape.read(sql, dialect);
    const std::string lifted = shape.liftable() ? shape.statement() : "";
    EXPECT_EQ(blank == 2 ? StatementShape::masked(shape.key(), dialect) : lifted, expected) << text;
  }
}

// Everything that a reading leaves behind.
std::string seen(const StatementShape& shape, const vorn::SqlDialect& dialect) {
  std::string all = std::to_string(shape.liftable()) + std::to_string(static_cast<int>(shape.verb())) +
                    std::to_string(shape.hash()) + std::string(shape.key()) +
                    StatementShape::masked(shape.key(), dialect);
  if (shape.liftable()) all += shape.statement();
  for (const StatementShape::Literal& literal : shape.literals()) {
    all += '|' + std::to_string(static_cast<int>(literal.type)) + std::string(literal.bytes);
    if (literal.type == StatementShape::Type::Integer || literal.type == StatementShape::Type::Long) {
      all += '#' + std::to_string(literal.integer);
    }
  }
  return all;
}

TEST(StatementShapeTest, ReadsATextAlikeWhateverItHasReadBefore) {
  std::mt19937 random(testSeed());
  const auto cases = casesOf("core/shapes.txt");
  const char* const pieces[] = {"1",
                                "0",
                                "-1",
                                "25",
                                "-7",
                                "2.50",
                                "'x'",
                                "'it''s'",
                                "NULL",
                                "3000000000",
                                "'",
                                "''",
                                "-",
                                " ",
                                ")",
                                "e5",
                                "99999999999999999999",
                                "\x05",
                                "\x01"};
  StatementShape warm;
  std::size_t lifted = 0;
  for (int round = 0; round < 20000 && !HasFailure(); ++round) {
    std::string sql = cases[random() % 12].first.substr(2);
    // A literal, or what looks like one, is put in the place of another.
    for (std::size_t at = 0; at < sql.size(); ++at) {
      const std::size_t digits = sql.find_first_not_of("0123456789", at) - at;
      if (digits == 0 || random() % 3 == 0) continue;
      const char* const piece = pieces[random() % (random() % 16 == 0 ? std::size(pieces) : 8)];
      sql.replace(at, std::min(digits, sql.size() - at), piece);
      at += std::string(piece).size();
    }
    const vorn::SqlDialect& dialect = round % 2 == 0 ? vorn::kSqliteDialect : vorn::kPostgresDialect;
    StatementShape fresh;
    fresh.read(sql, dialect);
    warm.read(sql, dialect);
    EXPECT_EQ(seen(warm, dialect), seen(fresh, dialect)) << sql;
    lifted += fresh.liftable() ? 1 : 0;
  }
  EXPECT_GT(lifted, 5000u);
}

}  // namespace
