#include <sqlite3.h>

#include <cmath>
#include <fstream>
#include <random>

#include "store/store_fixture.h"

namespace {

// Every way in which a column can treat a value, and everything that may run when one arrives.
constexpr const char* kSchema[] = {
    "create table affinity (i integer, t text, r real, n numeric, b blob, x)",
    "create table keyed (id integer primary key, t text not null default 'none', u unique, check (id <> 13))",
    "create table strict_one (i int, t text, r real, b blob, a any) strict",
    "create table computed (a, b real, c as (typeof(a) || typeof(b)) stored, d default (1.5))",
    "create table bare (k text primary key, v) without rowid",
    "create table heard (what)",
    "create table spoken (a, b)",
    "create trigger t1 after insert on spoken begin insert into heard values(typeof(new.a)||quote(new.b)); end",
    "create view seen as select a, b from spoken",
    "create trigger t2 instead of insert on seen begin insert into spoken values(new.b, new.a); end",
    "create table \"quoted name\" (\"a b\", c)",
    "create table children (p references keyed(id))"};
constexpr const char* kTables[] = {"affinity", "keyed", "strict_one", "computed", "bare", "heard", "spoken", "children", "\"quoted name\""};

class SqliteInsert : public StoreTest {
 protected:
  void SetUp() override {
    useStore("sqlite:" + m_directory.file("lifted.db") + "?synchronous=off");
    ASSERT_EQ(sqlite3_open(m_directory.file("plain.db").c_str(), &m_plain), SQLITE_OK);
    sqlite3_extended_result_codes(m_plain, 1);
    ASSERT_EQ(onPlain("pragma foreign_keys=on"), SQLITE_OK);
    for (const char* sql : kSchema) {
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

  int onPlain(const std::string& sql) { return sqlite3_exec(m_plain, sql.c_str(), nullptr, nullptr, nullptr); }

  /// Runs a text on both databases. @return whether both took it, or refused it, alike
  testing::AssertionResult sameOutcome(const std::string& sql) {
    const unsigned long code = db->execWriteSQL(raw(sql));
    const int plain = onPlain(sql);
    if ((code & 0xffffffffUL) == static_cast<unsigned long>(plain)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << sql << ": " << describe(code) << " against " << plain;
  }

  /// Compares every value of every table, with its type and its exact bytes.
  void compareTables() {
    for (const std::string table : kTables) {
      const std::string columns = rowsOf(db,
                                         "select group_concat('typeof(\"'||name||'\")||quote(\"'||name||'\")', "
                                         "'||'' ''||') from pragma_table_xinfo('" +
                                             (table[0] == '"' ? "quoted name" : table) + "')");
      const std::string sql = "select group_concat(" + columns + ", char(10)) from " + table;
      std::string plain;
      sqlite3_exec(
          m_plain, sql.c_str(),
          [](void* out, int, char** values, char**) {
            *static_cast<std::string*>(out) = values[0] == nullptr ? "~" : values[0];
            return 0;
          },
          &plain, nullptr);
      const std::string lifted = rowsOf(db, sql);
      EXPECT_EQ(lifted, plain) << table;
      EXPECT_FALSE(plain.empty()) << table;
    }
  }

  TemporaryDirectory m_directory;
  sqlite3* m_plain = nullptr;
};

TEST_F(SqliteInsert, TextsThatLookAlmostRenderedMeanWhatTheySay) {
  std::ifstream texts(VORN_TEST_SOURCES "/store/almost_rendered.sql");
  int count = 0;
  for (std::string sql; std::getline(texts, sql); ++count) { EXPECT_TRUE(sameOutcome(sql)); }
  EXPECT_GT(count, 50);
  compareTables();
}

TEST_F(SqliteInsert, RandomTextsStoreWhatThePlainRoadStores) {
  const char* seedText = std::getenv("VORN_TEST_SEED");
  const unsigned seed = seedText == nullptr ? std::random_device{}() : static_cast<unsigned>(std::stoul(seedText));
  SCOPED_TRACE("VORN_TEST_SEED=" + std::to_string(seed));
  std::mt19937 random(seed);
  const auto below = [&random](std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random); };
  const char* const pieces[] = {"'",  "''", "a", " ", ",", ")", "(",    "--", "\\", "\xc3\xa4", "?",
                                "%f", ";",  "0", "1", ".", "-", "NULL", "x'", "e5", "\n",       "cast"};
  const char* const targets[] = {"affinity (i,t,r,n,b,x)", "keyed (t,u)", "strict_one (i,t,r)", "computed (a,b)", "bare",
                                 "spoken (a,b)",           "seen (a,b)",  "affinity (x)"};
  const std::size_t widths[] = {6, 2, 3, 2, 2, 2, 2, 1};
  const auto literal = [&]() -> std::string {
    const std::size_t kind = below(8);
    std::string text;
    if (kind == 0) return "NULL";
    if (kind <= 2) return std::to_string(static_cast<long>(random() * random() * random()));
    if (kind <= 4) {
      char buffer[400];
      const double value = std::ldexp(static_cast<double>(random()) - 2147483648.0, static_cast<int>(below(80)) - 40);
      std::snprintf(buffer, sizeof buffer, "%.*f", static_cast<int>(below(20)), value);
      return buffer;
    }
    for (std::size_t piece = below(6); piece > 0; --piece) text += pieces[below(std::size(pieces))];
    if (kind == 7) return text;  // as it is: most of these are no literal at all
    std::string escaped;
    for (const char c : text) escaped.append(c == '\'' ? 2 : 1, c);
    return "'" + escaped + "'";
  };
  for (int round = 0; round < 6000; ++round) {
    const std::size_t target = below(std::size(targets));
    std::string sql = std::string("insert into ") + targets[target] + " values(";
    for (std::size_t value = 0; value < widths[target]; ++value) sql += (value == 0 ? "" : ",") + literal();
    sql += ")";
    if (sqlite3_complete((sql + ";").c_str()) == 0 || sql.find(';') != std::string::npos) continue;
    ASSERT_TRUE(sameOutcome(sql));
  }
  compareTables();
}

}  // namespace
