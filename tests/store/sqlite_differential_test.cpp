#include "store/DifferentialTest.h"
#include "store/PlainSqlite.h"

namespace {

class SqliteClient : public DifferentialTest::Client {
 public:
  explicit SqliteClient(const std::string& file) : m_database(file) {
    m_database.run("pragma synchronous=off");
    m_database.run(file.rfind("file:", 0) == 0 ? "pragma journal_mode=memory" : "pragma journal_mode=wal");
  }

  DifferentialTest::Outcome run(const std::string& sql, bool reads) override {
    DifferentialTest::Outcome outcome;
    m_contents.clear();
    const int code = m_database.rows(sql, [&](const auto& row) {
      if (reads) outcome.rows.push_back(DifferentialTest::shown(row));
    });
    outcome.end = code == PlainSqlite::kNone      ? "vorn 6 EMPTY_STATEMENT"
                  : code == PlainSqlite::kSeveral ? "vorn 4 MULTIPLE_STATEMENTS"
                  : code == SQLITE_OK             ? kSuccess
                                                  : describe(1UL << 32 | static_cast<unsigned long>(code));
    return outcome;
  }
  bool inTransaction() override { return m_database.inTransaction(); }

  /// @return what was read last, or anew what `read` returns if another connection has written since
  template <typename Read>
  const std::vector<std::string>& contents(const Read& read) {
    std::string version;
    m_database.rows("pragma data_version", [&version](const auto& row) { version = row[0].text(); });
    if (m_version != version || m_contents.empty()) m_contents = read();
    m_version = version;
    return m_contents;
  }

 private:
  PlainSqlite m_database;
  std::string m_version;
  std::vector<std::string> m_contents;
};

class SqliteDifferential : public DifferentialTest {
 protected:
  SqliteDifferential() : DifferentialTest("store/sqlite_statements.txt") {
    m_beginning = "begin immediate";
    m_hasOrder = true;
  }

  // A database in memory is that of one session name, and nobody else can look at it.
  void startStores() override {
    m_isShared = !chance(3);
    ++m_serial;
  }

  std::vector<std::string> setup(std::size_t) override {
    std::vector<std::string> texts;
    for (const auto& [sql, unused] : casesOf("store/differential_tables.sql")) texts.push_back(sql);
    return texts;
  }

  std::string url(std::size_t store) override {
    return m_isShared ? "sqlite:" + file(kOurs, store) + "?synchronous=off&busy_timeout_ms=0"
                      : "sqlite::memory:?busy_timeout_ms=0";
  }

  std::string file(Side side, std::size_t store) const {
    const std::string name =
        std::to_string(m_serial) + (side == kOurs ? "-ours-" : "-twins-") + std::to_string(store);
    return m_isShared ? m_directory.file(name) : "file:/" + name + "?vfs=memdb";
  }

  std::unique_ptr<Client> connect(Side side, std::size_t store) override {
    if (!m_isShared && side == kOurs) return nullptr;
    return std::make_unique<SqliteClient>(file(side, store));
  }

  // Every value of every table, with its type and its exact bytes.
  std::string contentsSql(Client& client) override {
    const std::string value = "'typeof(\"'||name||'\")||quote(\"'||name||'\")'";
    std::string all = "select name||coalesce(sql, '') from sqlite_schema";
    for (const auto& row : client.run("select name from sqlite_schema where type = 'table'", true).rows) {
      const std::string table = row.substr(2, row.size() - 3);
      const auto columns = client.run(
          "select group_concat(" + value + ", '||') from pragma_table_xinfo('" + table + "', 'main')", true);
      all += " union all select '" + table + " '||" + columns.rows.at(0).substr(2) + "from main.\"" + table +
             "\"";
    }
    return all;
  }

  std::vector<std::string> contents(Client& client) override {
    return dynamic_cast<SqliteClient&>(client).contents([&] { return DifferentialTest::contents(client); });
  }

  // A foreign key is checked after the last row of a statement.
  bool isOfAllRows(const std::string& end) override {
    return end.find("SQLITE_CONSTRAINT_FOREIGNKEY") != std::string::npos;
  }

  // A text that cannot be compiled is either, by whether the connection has read the schema anew before. One
  // that the library has compiled before meets another's lock first.
  bool isSame(const std::string& twins, const std::string& ours) override {
    const std::string either = "sqlite 1 SQLITE_ERROR sqlite 17 SQLITE_SCHEMA";
    return twins == ours || either == twins + " " + ours || either == ours + " " + twins ||
           (twins == "sqlite 1 SQLITE_ERROR" && ours == "sqlite 5 SQLITE_BUSY");
  }

 private:
  const TemporaryDirectory m_directory;
  int m_serial = 0;
};

TEST_F(SqliteDifferential, KeepsInStep) {
  run(2000);
}

// Beside what the builders render.
TEST_F(SqliteDifferential, ReadsEachTextAsItStands) {
  startRound(1);
  for (const auto& [sql, unused] : casesOf("store/almost_rendered.sql")) expectSame(sql);
  endRound();
}

}  // namespace
