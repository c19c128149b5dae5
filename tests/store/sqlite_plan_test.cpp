#include <gtest/gtest.h>

#include "exec/adapters/sql/StatementShape.h"
#include "exec/adapters/sqlite/SqliteDialect.h"
#include "store/PlainSqlite.h"
#include "support.h"

namespace {

using vorn::StatementShape;

/// @return how SQLite runs a statement whose parameters are bound to the literals
std::string planOf(sqlite3* database, const std::string& sql,
                   const std::vector<StatementShape::Literal>& literals) {
  sqlite3_stmt* statement = nullptr;
  EXPECT_EQ(sqlite3_prepare_v2(database, ("explain query plan " + sql).c_str(), -1, &statement, nullptr),
            SQLITE_OK)
      << sql << ": " << sqlite3_errmsg(database);
  int parameter = 0;
  for (const StatementShape::Literal& literal : literals) {
    const std::string bytes(literal.bytes);
    ++parameter;
    if (literal.type == StatementShape::Type::Text) {
      sqlite3_bind_text(statement, parameter, bytes.c_str(), -1, SQLITE_TRANSIENT);
    } else if (literal.type == StatementShape::Type::Decimal) {
      sqlite3_bind_double(statement, parameter, std::atof(bytes.c_str()));
    } else if (literal.type != StatementShape::Type::Null) {
      sqlite3_bind_int64(statement, parameter, literal.integer);
    }
  }
  std::string plan;
  while (sqlite3_step(statement) == SQLITE_ROW) {
    plan += reinterpret_cast<const char*>(sqlite3_column_text(statement, 3));
    plan += '\n';
  }
  sqlite3_finalize(statement);
  return plan;
}

TEST(SqlitePlan, AShapeIsRunAsTheTextWouldBe) {
  PlainSqlite plain(":memory:");
  std::size_t lifted = 0;
  for (const auto& [line, unused] : casesOf("store/plans.sql")) {
    if (line.rfind("schema ", 0) == 0) {
      ASSERT_EQ(plain.run(line.substr(7)), SQLITE_OK) << line;
      continue;
    }
    StatementShape shape;
    shape.read(line, vorn::kSqliteDialect);
    if (!shape.liftable()) continue;
    ++lifted;
    EXPECT_EQ(planOf(plain.handle(), shape.statement(), shape.literals()), planOf(plain.handle(), line, {}))
        << line;
  }
  EXPECT_GT(lifted, 45u);
}

}  // namespace
