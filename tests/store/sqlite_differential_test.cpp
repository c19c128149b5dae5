#include <sqlite3.h>

#include "store/DifferentialTest.h"

namespace {

/// Plain SQLite, without any patience.
class SqliteClient : public DifferentialTest::Client {
 public:
  explicit SqliteClient(const std::string& file) {
    constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI;
    sqlite3_open_v2(file.c_str(), &m_database, kFlags, nullptr);
    sqlite3_extended_result_codes(m_database, 1);
    run("pragma foreign_keys=on", false);
    run("pragma synchronous=off", false);
    run(file.rfind("file:", 0) == 0 ? "pragma journal_mode=memory" : "pragma journal_mode=wal", false);
  }
  ~SqliteClient() override { sqlite3_close(m_database); }
  SqliteClient(const SqliteClient&) = delete;
  SqliteClient& operator=(const SqliteClient&) = delete;

  DifferentialTest::Outcome run(const std::string& sql, bool reads) override {
    DifferentialTest::Outcome outcome;
    m_contents.clear();
    sqlite3_stmt* statement = nullptr;
    const char* rest = nullptr;
    int code = sqlite3_prepare_v2(m_database, sql.c_str(), -1, &statement, &rest);
    if (code == SQLITE_OK && statement == nullptr) return {{}, "vorn 6 EMPTY_STATEMENT"};
    const bool isAlone = code != SQLITE_OK || !goesOn(rest);
    while (isAlone && statement != nullptr && (code = sqlite3_step(statement)) == SQLITE_ROW)
      if (reads) outcome.rows.push_back(rowOf(statement));
    sqlite3_finalize(statement);
    outcome.end = !isAlone ? "vorn 4 MULTIPLE_STATEMENTS"
                  : code == SQLITE_OK || code == SQLITE_DONE
                      ? kSuccess
                      : describe(1UL << 32 | static_cast<unsigned long>(code));
    return outcome;
  }
  bool inTransaction() override { return sqlite3_get_autocommit(m_database) == 0; }

  /// @return what was read last, or anew what `read` returns if another connection has written since
  template <typename Read>
  const std::vector<std::string>& contents(const Read& read) {
    std::vector<std::string> known;
    std::swap(known, m_contents);
    const std::string version = run("pragma data_version", true).rows.at(0);
    m_contents = known.empty() || m_version != version ? read() : std::move(known);
    m_version = version;
    return m_contents;
  }

 private:
  static std::string rowOf(sqlite3_stmt* statement) {
    std::vector<vorn::RowValue> row(static_cast<std::size_t>(sqlite3_data_count(statement)));
    for (int column = 0; column < static_cast<int>(row.size()); ++column) {
      vorn::RowValue& value = row[static_cast<std::size_t>(column)];
      const int type = sqlite3_column_type(statement, column);
      if (type == SQLITE_INTEGER) value.setInteger(sqlite3_column_int64(statement, column));
      if (type == SQLITE_FLOAT) value.setReal(sqlite3_column_double(statement, column));
      if (type != SQLITE_TEXT && type != SQLITE_BLOB) continue;
      const void* const bytes = sqlite3_column_blob(statement, column);
      const int size = sqlite3_column_bytes(statement, column);
      value.setText(size == 0 ? "" : static_cast<const char*>(bytes), static_cast<std::size_t>(size));
    }
    return DifferentialTest::shown(row);
  }

  /// @return whether anything but blanks, comments and semicolons is left
  bool goesOn(const char* rest) {
    sqlite3_stmt* statement = nullptr;
    while (*rest != '\0' && statement == nullptr)
      if (sqlite3_prepare_v2(m_database, rest, -1, &statement, &rest) != SQLITE_OK) return true;
    sqlite3_finalize(statement);
    return statement != nullptr;
  }

  sqlite3* m_database = nullptr;
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
  run(repetitions(2000));
}

// Beside what the builders render.
TEST_F(SqliteDifferential, ReadsEachTextAsItStands) {
  startRound(1);
  for (const auto& [sql, unused] : casesOf("store/almost_rendered.sql")) expectSame(sql);
  endRound();
}

}  // namespace
