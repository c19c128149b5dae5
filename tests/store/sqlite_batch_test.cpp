// A batch against one multi-row insert of the same rows on plain SQLite, over tables of every kind.
#include <optional>

#include "store/PlainSqlite.h"
#include "store/store_fixture.h"

namespace {

class SqliteBatch : public StoreTest {
 protected:
  struct Table {
    std::vector<std::string> statements;
    std::string shown;  ///< a query of all that it holds
    bool keepsRows;     ///< a refused insert of several rows keeps those before
  };
  using Rows = std::vector<std::pair<long, long>>;

  template <typename... Choices>
  std::string oneOf(Choices... choices) {
    const std::string all[] = {choices...};
    return all[m_random() % sizeof...(choices)];
  }

  std::string clause() {
    return oneOf("", "", "", " on conflict abort", " on conflict ignore", " on conflict replace",
                 " on conflict fail", " on conflict rollback");
  }

  Table randomTable() {
    const std::string key = oneOf("integer primary key", "integer primary key",
                                  "integer primary key" + clause(), "integer primary key autoincrement",
                                  "int primary key" + clause(), "unique" + clause(), "integer");
    const std::string value =
        oneOf("", "unique" + clause(), "check (v % 97 <> 96)", "references t(n)",
              "references t(n) on delete cascade", "references t(n) deferrable initially deferred",
              "references p", "not null");
    const std::string more =
        oneOf("", ", g as (v * 2) stored unique" + clause(), ", g as (nullif(v % 7, 3)) not null" + clause(),
              ", d default (last_insert_rowid())", ", d default (changes())", ", unique (n, v)" + clause());
    const std::string bare =
        key.find("primary key") < 12 && key.find("auto") > key.size() ? oneOf("", "", " without rowid") : "";
    Table table;
    table.statements = {
        "create table p(id integer primary key)", "insert into p values(0), (1), (2), (50), (105)",
        "create table seen(n)",
        "create table t(n " + key + ", v " + value + ", w text collate nocase" + more + ")" + bare,
        oneOf("", "", "create unique index i on t(v) where v % 5 = 2", "create index i on t(w)")};
    table.statements.push_back(
        oneOf("", "", "", "create trigger x before insert on t begin insert into seen values(new.n); end",
              "create trigger x after insert on t begin insert or ignore into t(n) values(new.n + 1); end",
              "create trigger x before insert on t when new.v % 9 = 4 begin select raise(" +
                  oneOf("ignore", "fail, 'x'", "abort, 'x'", "rollback, 'x'") + "); end",
              "create trigger x after delete on t begin insert into seen values(-old.n); end"));
    if (m_random() % 2 == 0) table.statements.push_back("insert into t(n, v) values(1, null), (3, null)");
    std::string all;
    for (const std::string& statement : table.statements) all += statement;
    const std::string computed = more.find(", g") == 0   ? "||' '||quote(g)"
                                 : more.find(", d") == 0 ? "||' '||quote(d)"
                                                         : "";
    table.shown = "select (select ifnull(group_concat(r), '') from (select " +
                  std::string(bare.empty() ? "rowid" : "0") +
                  "||' '||quote(n)||' '||quote(v)||' '||quote(w)" + computed +
                  " as r from t order by 1))||'/'||(select ifnull(group_concat(n), '') from seen)";
    table.keepsRows = all.find("fail") != std::string::npos;
    return table;
  }

  Rows randomRows() {
    const long sizes[] = {1, 2, 40, 99, 100, 130};
    const long size = sizes[m_random() % 6], first = oneOf("-5", "2", "4", "4", "100") == "4" ? 4 : 100;
    const std::size_t order = m_random() % 4, values = m_random() % 4;
    Rows rows;
    for (long row = 0; row < size; ++row) {
      const long n = order == 0 ? static_cast<long>(m_random() % 200) : first + row;
      const long ring = first + (row + 1) % size, small = static_cast<long>(m_random() % 8);
      rows.emplace_back(n, values == 0 ? ring : values == 1 ? small : values == 2 ? n : row * 3 % 101);
    }
    return rows;
  }

  int insertOnPlain(const Rows& rows, bool keepsRows) {
    std::string sql = "insert into t (n, v, w) values";
    for (const auto& [n, v] : rows) {
      sql += (sql.back() == ')' ? ",(" : "(") + std::to_string(n) + "," + std::to_string(v) + ",'w" +
             std::to_string(v) + "')";
    }
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
    for (const auto& [n, v] : rows) batch["n"] << n, batch["v"] << v, batch["w"] << "w" + std::to_string(v);
    return db->ExecBatchInserter(batch);
  }

  std::mt19937 m_random{testSeed()};
  std::optional<PlainSqlite> m_plain;
};

TEST_F(SqliteBatch, StoresAndRefusesWhatOneInsertOfAllRowsDoes) {
  int refused = 0, stored = 0;
  for (int round = 0; round < 1500 && !HasFailure(); ++round) {
    useStore("sqlite::memory:");
    m_plain.emplace(":memory:");
    const Table table = randomTable();
    const bool nested = m_random() % 2 == 0;
    std::string trace = nested ? "in a transaction:" : "alone:";
    for (const std::string& sql : table.statements) {
      trace += "\n" + sql;
      if (!sql.empty()) {
        EXPECT_EQ(db->execWriteSQL(raw(sql)) & 0xffffffffUL, static_cast<unsigned long>(m_plain->run(sql)))
            << trace;
      }
    }
    if (nested) db->beginTransaction(), m_plain->run("begin");
    for (int batch = 0; batch < 2; ++batch) {
      const Rows rows = randomRows();
      SCOPED_TRACE(trace + "\n" + std::to_string(rows.size()) + " rows from " +
                   std::to_string(rows[0].first) + ", " + std::to_string(rows[0].second));
      const int expected = insertOnPlain(rows, table.keepsRows);
      EXPECT_EQ(insertAsBatch(rows) & 0xffffffffUL, static_cast<unsigned long>(expected));
      if (expected == SQLITE_OK) {
        EXPECT_EQ(rowsOf(db, "select changes()||' '||last_insert_rowid()"),
                  m_plain->text("select changes()||' '||last_insert_rowid()"));
      }
      (expected == SQLITE_OK ? stored : refused) += 1;
      if (nested && !m_plain->inTransaction()) break;  // both have lost their transaction
      EXPECT_EQ(rowsOf(db, table.shown), m_plain->text(table.shown));
      // What last_insert_rowid() and changes() say after a refused insert is SQLite's own affair.
      if (expected != SQLITE_OK && trace.find(", d default") != std::string::npos) break;
    }
    if (nested) {
      const bool lost = !m_plain->inTransaction();
      const unsigned long outcome = db->commitTransaction();
      if (!lost) {
        EXPECT_EQ(outcome & 0xffffffffUL, static_cast<unsigned long>(m_plain->run("commit"))) << trace;
      }
      if (outcome != 0) db->rollbackTransaction();
    }
  }
  EXPECT_GT(refused, 300);
  EXPECT_GT(stored, 300);
}

}  // namespace
