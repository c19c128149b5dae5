#include <mysql.h>

#include <charconv>

#include "mariadb/MariaDbServer.h"
#include "store/DifferentialTest.h"

namespace {

using Connection = std::unique_ptr<MYSQL, void (*)(MYSQL*)>;
using Result = std::unique_ptr<MYSQL_RES, void (*)(MYSQL_RES*)>;

// What the library settles for its own sessions, as the defaults of the server.
constexpr char kSettings[] =
    "sql_mode=ANSI_QUOTES,ERROR_FOR_DIVISION_BY_ZERO,IGNORE_SPACE,NO_AUTO_VALUE_ON_ZERO,NO_BACKSLASH_ESCAPES,"
    "NO_ENGINE_SUBSTITUTION,NO_ZERO_DATE,NO_ZERO_IN_DATE,PIPES_AS_CONCAT,STRICT_ALL_TABLES\n"
    "default_time_zone=+00:00\nlog_bin_trust_function_creators=1\ninnodb_stats_auto_recalc=0\n";

class MariaDbDifferential : public DifferentialTest {
 protected:
  MariaDbDifferential() : DifferentialTest("mariadb/mariadb_statements.txt") { m_hasOrder = false; }

  void startRound() override {
    if (chance(2)) {  // or the connections go on under another schema
      vorn::unbindStores();
      m_plain = connect(m_names[1]);
    }
    useStore(m_urls[0]);
    resetPlain();
    for (const Connection* const other : {&m_otherOnOurs, &m_otherOnPlain})
      mysql_query(other->get(), "set lock_wait_timeout=10");
    for (const auto& [sql, unused] : casesOf("mariadb/differential_tables.sql")) {
      for (const Connection* const other : {&m_otherOnOurs, &m_otherOnPlain})
        ASSERT_EQ(mysql_query(other->get(), sql.c_str()), 0) << sql << mysql_error(other->get());
    }
    for (const Connection* const other : {&m_otherOnOurs, &m_otherOnPlain})
      mysql_query(other->get(), "set lock_wait_timeout=0");
  }

  Outcome runPlain(const std::string& sql, bool reads) override {
    Outcome outcome{{}, kSuccess};
    if (mysql_real_query(m_plain.get(), sql.data(), sql.size()) == 0) {
      const Result result(mysql_store_result(m_plain.get()), mysql_free_result);
      while (const MYSQL_ROW row = reads && result ? mysql_fetch_row(result.get()) : nullptr) {
        std::string& all = outcome.rows.emplace_back();
        const unsigned long* const sizes = mysql_fetch_lengths(result.get());
        for (unsigned column = 0; column < mysql_num_fields(result.get()); ++column)
          all += shown({valueOf(result->fields[column], row[column], sizes[column])});
      }
    }
    if (mysql_errno(m_plain.get()) != 0) outcome.end = describe(3UL << 32 | mysql_errno(m_plain.get()));
    return outcome;
  }

  // A text that the parser refuses may be two, and after a failure the server says nothing of its
  // transaction.
  bool isSame(const std::string& plain, const std::string& ours) override {
    return plain == ours ||
           (plain == "mariadb 1064 ER_PARSE_ERROR" && ours == "vorn 4 MULTIPLE_STATEMENTS") ||
           ((plain == "mariadb 1065 ER_EMPTY_QUERY" || plain == kSuccess) &&
            ours == "vorn 6 EMPTY_STATEMENT");
  }

  bool plainInTransaction() override {
    mysql_query(m_plain.get(), "select @@in_transaction");
    const Result result(mysql_store_result(m_plain.get()), mysql_free_result);
    return *mysql_fetch_row(result.get())[0] == '1';
  }

  void change() override {
    if (!isReading() && !plainInTransaction() && chance(3)) {
      if (m_held) resetPlain();  // as the library does with a connection that is given back
      m_held.reset();
      if (chance(2)) m_held.emplace("default");
    }
    if (m_held && chance(6)) return expectSame(m_generator.text("SESSION"));
    changeElsewhere(m_generator.text("CHANGE"));
  }

  /// @return how many statements the server has run prepared
  std::string prepared() const {
    return m_server.query(
        "select variable_value from information_schema.global_status where variable_name = "
        "'com_stmt_execute'");
  }

  void compareContents() override {
    EXPECT_EQ(contents(m_otherOnOurs), contents(m_otherOnPlain)) << "VORN_TEST_SEED=" << m_seed;
  }

 private:
  static vorn::RowValue valueOf(const MYSQL_FIELD& field, const char* text, unsigned long size) {
    vorn::RowValue value;
    if (text == nullptr) return value;
    value.setText(text, size);
    if ((field.flags & ZEROFILL_FLAG) != 0) return value;
    std::int64_t integer = 0;
    const bool isReal = field.type == MYSQL_TYPE_FLOAT || field.type == MYSQL_TYPE_DOUBLE;
    const bool isInteger = field.type <= MYSQL_TYPE_LONGLONG && field.type != MYSQL_TYPE_DECIMAL && !isReal &&
                           field.type != MYSQL_TYPE_NULL && field.type != MYSQL_TYPE_TIMESTAMP;
    if (isReal) value.setReal(std::strtod(text, nullptr));
    const bool fits = std::from_chars(text, text + size, integer).ec == std::errc();
    if ((isInteger || field.type == MYSQL_TYPE_INT24) && fits) value.setInteger(integer);
    return value;
  }

  Connection connect(const std::string& name) {
    Connection connection(m_server.connect(name), mysql_close);
    mysql_set_server_option(connection.get(), MYSQL_OPTION_MULTI_STATEMENTS_OFF);
    mysql_query(connection.get(), "set lock_wait_timeout=0, max_recursive_iterations=4294967295");
    return connection;
  }

  void resetPlain() {
    mysql_reset_connection(m_plain.get());
    mysql_select_db(m_plain.get(), m_names[1].c_str());
  }

  /// Changes the schema of both, or of none where a reader holds that of the library's. What the server does by itself
  /// may hold the other for a moment.
  void changeElsewhere(const std::string& sql) {
    constexpr unsigned kLocked = 1205;
    const bool done = mysql_query(m_otherOnOurs.get(), sql.c_str()) == 0;
    if (!done && mysql_errno(m_otherOnOurs.get()) == kLocked) return;
    mysql_free_result(mysql_store_result(m_otherOnOurs.get()));
    mysql_query(m_otherOnPlain.get(), "set lock_wait_timeout=5");
    mysql_query(m_otherOnPlain.get(), sql.c_str());
    mysql_free_result(mysql_store_result(m_otherOnPlain.get()));
    EXPECT_EQ(mysql_errno(m_otherOnOurs.get()), mysql_errno(m_otherOnPlain.get())) << sql;
  }

  static std::string contents(const Connection& connection) {
    std::string all;
    for (const char* const table : {"wide", "plain", "other", "narrow", "heard"}) {
      std::vector<std::string> rows;
      mysql_query(connection.get(), (std::string("select * from ") + table).c_str());
      const Result result(mysql_store_result(connection.get()), mysql_free_result);
      while (const MYSQL_ROW row = result ? mysql_fetch_row(result.get()) : nullptr) {
        std::string& text = rows.emplace_back();
        for (unsigned column = 0; column < mysql_num_fields(result.get()); ++column)
          text += row[column] == nullptr ? "~|" : std::string(row[column]) + "|";
      }
      std::sort(rows.begin(), rows.end());
      all += table + testing::PrintToString(rows);
    }
    return all;
  }

  MariaDbServer m_server{kSettings};
  const std::string m_urls[2] = {m_server.freshDatabase(), m_server.freshDatabase()};
  const std::string m_names[2] = {m_urls[0].substr(m_urls[0].rfind('/') + 1),
                                  m_urls[1].substr(m_urls[1].rfind('/') + 1)};
  Connection m_plain = connect(m_names[1]);
  Connection m_otherOnOurs = connect(m_names[0]);
  Connection m_otherOnPlain = connect(m_names[1]);
};

TEST_F(MariaDbDifferential, RandomTextsMeanWhatTheySay) {
  run(6000);
  std::printf("of which %s prepared\n", prepared().c_str());
  EXPECT_GT(std::stoi(prepared()), 0);
}

}  // namespace
