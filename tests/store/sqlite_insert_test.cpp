#include "store/PlainSqlite.h"
#include "store/store_fixture.h"

namespace {

/// The same texts on the library's store and on plain SQLite.
class SqliteInsert : public StoreTest {
 protected:
  void SetUp() override {
    useStore("sqlite::memory:");
    // Every way in which a column can treat a value, and everything that may run when one arrives.
    for (const auto& [sql, unused] : casesOf("store/insert_tables.sql")) {
      ASSERT_EQ(run(db, sql), kSuccess) << sql;
      ASSERT_EQ(m_plain.run(sql), SQLITE_OK) << sql;
    }
    ASSERT_EQ(db->beginTransaction(), 0U);
    ASSERT_EQ(m_plain.run("begin"), SQLITE_OK);
  }

  /// Runs a text on both databases, which take it or refuse it alike.
  void expectSameOutcome(const std::string& sql) {
    EXPECT_EQ(db->execWriteSQL(raw(sql)) & 0xffffffffUL, static_cast<unsigned long>(m_plain.run(sql))) << sql;
  }

  /// Compares every value of every table, with its type and its exact bytes.
  void compareTables() {
    const std::string tables = rowsOf(db, "select name from sqlite_schema where type = 'table'") + ";";
    for (std::size_t at = 0, end; (end = tables.find(';', at)) != std::string::npos; at = end + 1) {
      const std::string table = tables.substr(at, end - at);
      const std::string value = "'typeof(\"'||name||'\")||quote(\"'||name||'\")', '||'' ''||'";
      const std::string columns = rowsOf(db, "select group_concat(" + value + ") from pragma_table_xinfo('" + table + "')");
      const std::string sql = "select group_concat(" + columns + ", char(10)) from \"" + table + "\"";
      const std::string plain = m_plain.text(sql);
      EXPECT_EQ(rowsOf(db, sql), plain) << table;
      EXPECT_FALSE(plain.empty()) << table;
    }
    EXPECT_EQ(std::count(tables.begin(), tables.end(), ';'), 9);
  }

  PlainSqlite m_plain{":memory:"};
};

TEST_F(SqliteInsert, TextsThatLookRenderedMeanWhatTheySay) {
  // The first by hand, around what a builder would write; then literals and fragments of them at random.
  for (const char* file : {"store/almost_rendered.sql", "store/random_inserts.sql"}) {
    for (const auto& [sql, unused] : casesOf(file)) expectSameOutcome(sql);
    compareTables();
  }
}

}  // namespace
