// A batch against one multi-row insert of the same rows on plain SQLite, over tables of every kind.
#include <optional>

#include "store/PlainSqlite.h"
#include "store/StatementGenerator.h"
#include "store/store_fixture.h"

namespace {

class SqliteBatch : public StoreTest {
 protected:
  using Rows = std::vector<std::pair<long, long>>;

  /// Makes a random table on both stores. @return the statements that did
  std::string makeTable() {
    std::string all;
    for (const char* const piece : {"PARENT", "PARENTS", "SEEN", "TABLE", "INDEX", "TRIGGER", "ROWS"}) {
      const std::string sql = m_generator.text(piece);
      all += sql + "\n";
      if (!sql.empty()) expectSame(db->execWriteSQL(raw(sql)), m_plain->run(sql));
    }
    const std::string key = all.find("without rowid") == std::string::npos ? "rowid" : "0";
    const std::string generated = all.find("nocase, g") == std::string::npos ? "''" : "quote(g)";
    m_shown = "select (select ifnull(group_concat(r), '') from (select " + key +
              "||' '||quote(n)||' '||quote(v)||' '||quote(w)||' '||" + generated +
              " as r from t order by 1))||'/'||(select ifnull(group_concat(n), '') from seen)";
    return all;
  }

  static void expectSame(unsigned long code, int onPlain) {
    EXPECT_EQ(code & 0xffffffffUL, static_cast<unsigned long>(onPlain));
  }

  Rows randomRows() {
    const long sizes[] = {1, 2, 40, 99, 100, 130};
    const long size = sizes[m_generator.below(6)];
    const long first = m_generator.below(5) < 2 ? 4 : 100;
    const std::size_t order = m_generator.below(4);
    const std::size_t values = m_generator.below(4);
    Rows rows;
    for (long row = 0; row < size; ++row) {
      const long n = order == 0 ? static_cast<long>(m_generator.below(200)) : first + row;
      const long choices[] = {first + (row + 1) % size, static_cast<long>(m_generator.below(8)), n,
                              row * 3 % 101};
      rows.emplace_back(n, choices[values]);
    }
    return rows;
  }

  /// @param keepsRows  a refused insert of several rows keeps those before
  int insertOnPlain(const Rows& rows, bool keepsRows) {
    std::string sql = "insert into t (n, v, w) values";
    for (const auto& [n, v] : rows) {
      sql += "(" + std::to_string(n) + "," + std::to_string(v) + ",'w" + std::to_string(v) + "'),";
    }
    sql.pop_back();
    if (!keepsRows) return m_plain->run(sql);
    m_plain->run("savepoint batch");
    const int code = m_plain->run(sql);
    if (code != SQLITE_OK && m_plain->inTransaction()) m_plain->run("rollback to batch");
    const int released = m_plain->inTransaction() ? m_plain->run("release batch") : SQLITE_OK;
    if (released != SQLITE_OK) m_plain->run("rollback");
    return code == SQLITE_OK ? released : code;
  }

  unsigned long insertAsBatch(const Rows& rows) {
    BatchInserter batch;
    batch.table("t");
    for (const auto& [n, v] : rows) {
      batch["n"] << n;
      batch["v"] << v;
      batch["w"] << "w" + std::to_string(v);
    }
    return db->ExecBatchInserter(batch);
  }

  /// Inserts random rows in both ways and compares. @return whether they were stored
  bool insertRows(const std::string& table) {
    const Rows rows = randomRows();
    const int expected = insertOnPlain(rows, table.find("fail") != std::string::npos);
    expectSame(insertAsBatch(rows), expected);
    const std::string counts = "select changes()||' '||last_insert_rowid()";
    const bool isStored = expected == SQLITE_OK;
    EXPECT_TRUE(!isStored || rowsOf(db, counts) == m_plain->text(counts));
    const bool lost = m_nested && !m_plain->inTransaction();
    EXPECT_EQ(lost ? "" : rowsOf(db, m_shown), lost ? "" : m_plain->text(m_shown));
    return isStored;
  }

  StatementGenerator m_generator{"store/random_tables.txt", testSeed()};
  std::optional<PlainSqlite> m_plain;
  std::string m_shown;    // a query of all that the tables hold
  bool m_nested = false;  // in a transaction of the caller's
};

TEST_F(SqliteBatch, StoresAndRefusesWhatOneInsertOfAllRowsDoes) {
  int refused = 0;
  int stored = 0;
  for (int round = 0; round < 1500 && !HasFailure(); ++round) {
    useStore("sqlite::memory:");
    m_plain.emplace(":memory:");
    const std::string table = makeTable();
    m_nested = m_generator.below(2) == 0;
    SCOPED_TRACE(table + (m_nested ? "in a transaction" : "alone"));
    if (m_nested) expectSame(db->beginTransaction(), m_plain->run("begin"));
    for (int batch = 0; batch < 2; ++batch) {
      const bool isStored = insertRows(table);
      (isStored ? stored : refused) += 1;
      // What last_insert_rowid() and changes() say after a refused insert is SQLite's own affair.
      if (!isStored && table.find("g default") != std::string::npos) break;
      if (m_nested && !m_plain->inTransaction()) break;  // both have lost their transaction
    }
    if (!m_nested) continue;
    const bool lost = !m_plain->inTransaction();
    const unsigned long outcome = db->commitTransaction();
    if (!lost) expectSame(outcome, m_plain->run("commit"));
    if (outcome != 0) db->rollbackTransaction();
  }
  EXPECT_GT(refused, 300);
  EXPECT_GT(stored, 300);
}

}  // namespace
