#include <sqlite3.h>

#include <cmath>
#include <random>

#include "store/store_fixture.h"

namespace {

/// The same texts on the library's store and on plain SQLite.
class SqliteInsert : public StoreTest {
 protected:
  void SetUp() override {
    useStore("sqlite:" + m_directory.file("lifted.db") + "?synchronous=off");
    ASSERT_EQ(sqlite3_open(m_directory.file("plain.db").c_str(), &m_plain), SQLITE_OK);
    sqlite3_extended_result_codes(m_plain, 1);
    ASSERT_EQ(onPlain("pragma foreign_keys=on"), SQLITE_OK);
    // Every way in which a column can treat a value, and everything that may run when one arrives.
    for (const auto& [sql, unused] : casesOf("store/insert_tables.sql")) {
      ASSERT_EQ(run(db, sql), kSuccess) << sql;
      ASSERT_EQ(onPlain(sql), SQLITE_OK) << sql;
    }
    ASSERT_EQ(db->beginTransaction(), 0U);
    ASSERT_EQ(onPlain("begin"), SQLITE_OK);
  }
  void TearDown() override {
    db->rollbackTransaction();
    sqlite3_close(m_plain);
    StoreTest::TearDown();
  }

  /// @param text  receives the first column of the last row
  int onPlain(const std::string& sql, std::string* text = nullptr) {
    const auto keep = [](void* out, int, char** values, char**) {
      return *static_cast<std::string*>(out) = values[0] == nullptr ? "~" : values[0], 0;
    };
    return sqlite3_exec(m_plain, sql.c_str(), text == nullptr ? nullptr : +keep, text, nullptr);
  }

  /// Runs a text on both databases, which take it or refuse it alike.
  void expectSameOutcome(const std::string& sql) {
    EXPECT_EQ(db->execWriteSQL(raw(sql)) & 0xffffffffUL, static_cast<unsigned long>(onPlain(sql))) << sql;
  }

  /// Compares every value of every table, with its type and its exact bytes.
  void compareTables() {
    const std::string tables = rowsOf(db, "select name from sqlite_schema where type = 'table'") + ";";
    for (std::size_t at = 0, end; (end = tables.find(';', at)) != std::string::npos; at = end + 1) {
      const std::string table = tables.substr(at, end - at);
      const std::string value = "'typeof(\"'||name||'\")||quote(\"'||name||'\")', '||'' ''||'";
      const std::string columns = rowsOf(db, "select group_concat(" + value + ") from pragma_table_xinfo('" + table + "')");
      const std::string sql = "select group_concat(" + columns + ", char(10)) from \"" + table + "\"";
      std::string plain;
      EXPECT_EQ(onPlain(sql, &plain), SQLITE_OK);
      EXPECT_EQ(rowsOf(db, sql), plain) << table;
      EXPECT_FALSE(plain.empty()) << table;
    }
    EXPECT_EQ(std::count(tables.begin(), tables.end(), ';'), 9);
  }

  TemporaryDirectory m_directory;
  sqlite3* m_plain = nullptr;
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
  const std::pair<std::string, int> targets[] = {
      {"affinity (i,t,r,n,b,x)", 6}, {"keyed (t,u)", 2}, {"strict_one (i,t,r)", 3}, {"computed (a,b)", 2}, {"bare", 2},
      {"spoken (a,b)", 2},           {"seen (a,b)", 2},  {"affinity (x)", 1}};
  const auto literal = [&]() -> std::string {
    const std::size_t kind = below(8);
    if (kind == 0) return "NULL";
    if (kind <= 2) return std::to_string(static_cast<long>(random() * random() * random()));
    if (kind <= 4) {
      char buffer[400];
      const double value = std::ldexp(static_cast<double>(random()) - 2147483648.0, static_cast<int>(below(80)) - 40);
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
