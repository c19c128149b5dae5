#include "store/DifferentialTest.h"
#include "store/PlainSqlite.h"

namespace {

class SqliteDifferential : public DifferentialTest {
 protected:
  SqliteDifferential() : DifferentialTest("store/sqlite_statements.txt") {}

  void startRound() override {
    m_file = chance(2) ? ":memory:" : m_directory.file(std::to_string(++m_serial));
    vorn::unbindStores();
    useStore("sqlite:" + m_file + (m_file == ":memory:" ? "" : "?synchronous=off"));
    if (m_file == ":memory:") m_held.emplace("default");
    m_plain.emplace(m_file == ":memory:" ? m_file : m_file + "-twin");
    m_plain->run("pragma synchronous=off");
    m_plain->run("pragma journal_mode=memory");
    // Every way in which a column can treat a value, and everything that may run when one arrives.
    for (const char* const file : {"differential_tables.sql", "almost_rendered.sql"})
      for (const auto& [sql, unused] : casesOf(std::string("store/") + file)) expectSame(sql);
  }

  Outcome runPlain(const std::string& sql, bool reads) override {
    Outcome outcome;
    const int code = m_plain->rows(sql, [&](const auto& row) {
      if (reads) outcome.rows.push_back(shown(row));
    });
    outcome.end = code == PlainSqlite::kNone      ? "vorn 6 EMPTY_STATEMENT"
                  : code == PlainSqlite::kSeveral ? "vorn 4 MULTIPLE_STATEMENTS"
                  : code == SQLITE_OK             ? kSuccess
                                                  : describe(1UL << 32 | static_cast<unsigned long>(code));
    return outcome;
  }

  // A text that cannot be compiled is either, by whether the connection has read the schema anew before.
  bool isSame(const std::string& plain, const std::string& ours) override {
    const std::string either = "sqlite 1 SQLITE_ERROR sqlite 17 SQLITE_SCHEMA";
    return plain == ours || either == plain + " " + ours || either == ours + " " + plain;
  }

  bool plainInTransaction() override { return m_plain->inTransaction(); }

  void change() override {
    const bool inMemory = m_file == ":memory:";
    if (inMemory && chance(2)) return expectSame("select changes(), last_insert_rowid()");
    const std::string sql = m_generator.text("CHANGE");
    if (inMemory || isReading() || plainInTransaction() || chance(2)) return expectSame(sql);
    // On another connection, while the library keeps its own or not.
    m_held.reset();
    if (chance(2)) m_held.emplace("default");
    EXPECT_EQ(PlainSqlite(m_file).run(sql), PlainSqlite(m_file + "-twin").run(sql)) << sql;
  }

  /// Every value of every table, with its type and its exact bytes.
  void compareContents() override {
    std::vector<std::string> tables;
    m_plain->rows("select name from sqlite_schema where type = 'table'",
                  [&](const auto& row) { tables.push_back(row[0].text()); });
    for (const std::string& table : tables) {
      const std::string value = "'typeof(\"'||name||'\")||quote(\"'||name||'\")'";
      expectSame(
          "select " +
          m_plain->text("select group_concat(" + value + ") from pragma_table_xinfo('" + table + "')") +
          " from \"" + table + "\"");
    }
    EXPECT_GE(tables.size(), 8U);
  }

  const TemporaryDirectory m_directory;
  std::optional<PlainSqlite> m_plain;
  std::string m_file;
  int m_serial = 0;
};

TEST_F(SqliteDifferential, RandomTextsMeanWhatTheySay) {
  run(12000);
}

}  // namespace
