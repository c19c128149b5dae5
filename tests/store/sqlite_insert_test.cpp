#include <cmath>
#include <random>

#include "store/PlainSqlite.h"
#include "store/store_fixture.h"

namespace {

/// The same texts on the library's store and on plain SQLite.
class SqliteInsert : public StoreTest {
 protected:
  void SetUp() override {
    useStore("sqlite::memory:");
    // Every way in which a column can treat a value, and everything that may run when one arrives.
    for (const auto& [sql, unused] : casesOf("store/insert_tables.sql")) expectSameOutcome(sql);
    expectSameOutcome("begin");
  }

  /// Runs a text on both databases, which take it or refuse it alike.
  void expectSameOutcome(const std::string& sql) {
    EXPECT_EQ(db->execWriteSQL(raw(sql)) & 0xffffffffUL, static_cast<unsigned long>(m_plain.run(sql))) << sql;
  }

  /// Compares every value of every table, with its type and its exact bytes.
  void compareTables() {
    const std::string tables = rowsOf(db, "select name from sqlite_schema where type = 'table'");
    EXPECT_EQ(std::count(tables.begin(), tables.end(), ';'), 8);
    for (const std::string& table : split(tables, ";")) {
      const std::string value = "'typeof(\"'||name||'\")||quote(\"'||name||'\")', '||'' ''||'";
      const std::string columns =
          rowsOf(db, "select group_concat(" + value + ") from pragma_table_xinfo('" + table + "')");
      const std::string sql = "select group_concat(" + columns + ", char(10)) from \"" + table + "\"";
      const std::string plain = m_plain.text(sql);
      EXPECT_EQ(rowsOf(db, sql), plain) << table;
      EXPECT_FALSE(plain.empty()) << table;
    }
  }

  PlainSqlite m_plain{":memory:"};
};

TEST_F(SqliteInsert, TextsThatLookAlmostRenderedMeanWhatTheySay) {
  for (const auto& [sql, unused] : casesOf("store/almost_rendered.sql")) expectSameOutcome(sql);
  compareTables();
}

TEST_F(SqliteInsert, RandomTextsStoreWhatThePlainRoadStores) {
  std::mt19937 random(testSeed());
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  const char* const pieces[] = {"'",  "''", "a", " ", ",", ")", "(",    "--", "\\", "\xc3\xa4", "?",
                                "%f", ";",  "0", "1", ".", "-", "NULL", "x'", "e5", "\n",       "cast"};
  const std::pair<std::string, int> targets[] = {{"affinity (i,t,r,n,b,x)", 6},
                                                 {"keyed (t,u)", 2},
                                                 {"strict_one (i,t,r)", 3},
                                                 {"computed (a,b)", 2},
                                                 {"bare", 2},
                                                 {"spoken (a,b)", 2},
                                                 {"seen (a,b)", 2},
                                                 {"affinity (x)", 1}};
  const auto literal = [&]() -> std::string {
    const std::size_t kind = below(8);
    if (kind == 0) return "NULL";
    if (kind <= 2) return std::to_string(static_cast<long>(random() * random() * random()));
    if (kind <= 4) {
      char buffer[400];
      const double value =
          std::ldexp(static_cast<double>(random()) - 2147483648.0, static_cast<int>(below(80)) - 40);
      std::snprintf(buffer, sizeof buffer, "%.*f", static_cast<int>(below(20)), value);
      return buffer;
    }
    std::string text;
    for (std::size_t piece = below(6); piece > 0; --piece) text += pieces[below(std::size(pieces))];
    return kind == 7 ? text : "'" + escaped(text) + "'";  // as it is: most of these are no literal at all
  };
  for (int round = 0; round < 6000 && !HasFailure(); ++round) {
    const auto& [target, width] = targets[below(std::size(targets))];
    std::string sql = "insert into " + target + " values(" + literal();
    for (int value = 1; value < width; ++value) sql += "," + literal();
    sql += ")";
    if (sqlite3_complete((sql + ";").c_str()) == 0 || sql.find(';') != std::string::npos) continue;
    expectSameOutcome(sql);
  }
  compareTables();
}

}  // namespace
