#include <mysql.h>

#include <charconv>

#include "faults/ServerDifferential.h"
#include "mariadb/MariaDbServer.h"

namespace {

// What the library settles for its own sessions, as the defaults of the server, which lets nobody wait for a
// lock, and takes none on a table itself: it does no work in the background.
constexpr char kSettings[] =
    "sql_mode=ANSI_QUOTES,ERROR_FOR_DIVISION_BY_ZERO,IGNORE_SPACE,NO_AUTO_VALUE_ON_ZERO,NO_BACKSLASH_ESCAPES,"
    "NO_ENGINE_SUBSTITUTION,NO_ZERO_DATE,NO_ZERO_IN_DATE,PIPES_AS_CONCAT,STRICT_ALL_TABLES\n"
    "default_time_zone=+00:00\nlog_bin_trust_function_creators=1\ninnodb_stats_auto_recalc=0\n"
    "transaction_isolation=read-committed\nlock_wait_timeout=0\ninnodb_lock_wait_timeout=0\n"
    "innodb_force_recovery=2\n";

class MariaDbClient : public DifferentialTest::Client {
 public:
  MariaDbClient(const std::string& url, const MariaDbServer& server)
      : m_connection(server.connect(url.substr(url.rfind('/') + 1)), mysql_close) {
    mysql_set_server_option(m_connection.get(), MYSQL_OPTION_MULTI_STATEMENTS_OFF);
    run("set max_recursive_iterations=4294967295", false);
  }

  DifferentialTest::Outcome run(const std::string& sql, bool reads) override {
    DifferentialTest::Outcome outcome{{}, kSuccess};
    if (mysql_real_query(m_connection.get(), sql.data(), sql.size()) == 0) {
      const std::unique_ptr<MYSQL_RES, void (*)(MYSQL_RES*)> result(mysql_store_result(m_connection.get()),
                                                                    mysql_free_result);
      while (const MYSQL_ROW row = reads && result ? mysql_fetch_row(result.get()) : nullptr) {
        std::string& all = outcome.rows.emplace_back();
        const unsigned long* const sizes = mysql_fetch_lengths(result.get());
        for (unsigned column = 0; column < mysql_num_fields(result.get()); ++column)
          all += DifferentialTest::shown({valueOf(result->fields[column], row[column], sizes[column])});
      }
    }
    const unsigned code = mysql_errno(m_connection.get());
    if (code == 0) return outcome;
    mysql_query(m_connection.get(), "do 0");  // after a failure the server says nothing of its transaction
    return {outcome.rows, describe(3UL << 32 | code)};
  }

  bool inTransaction() override { return (m_connection->server_status & SERVER_STATUS_IN_TRANS) != 0; }

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

  const std::unique_ptr<MYSQL, void (*)(MYSQL*)> m_connection;
};

class MariaDbDifferential : public ServerDifferential<MariaDbServer, MariaDbClient> {
 protected:
  MariaDbDifferential() : ServerDifferential("mariadb", kSettings, "") { m_refusesNestedBegin = true; }

  std::vector<std::string> contents(Client& client) override {
    std::vector<std::string> all;
    for (const std::string table : {"wide", "plain", "other", "narrow", "heard"}) {
      for (const std::string& row : client.run("select * from " + table, true).rows)
        all.push_back(table + " " + row);
    }
    return all;
  }

  // A text that the parser refuses may be two.
  bool isSame(const std::string& twins, const std::string& ours) override {
    return twins == ours ||
           (twins == "mariadb 1064 ER_PARSE_ERROR" && ours == "vorn 4 MULTIPLE_STATEMENTS") ||
           ((twins == "mariadb 1065 ER_EMPTY_QUERY" || twins == kSuccess) &&
            ours == "vorn 6 EMPTY_STATEMENT");
  }

  // A change of the schema that fails has committed it before.
  bool undoes(const std::string& end) override { return end.find(" 1213 ") != std::string::npos; }

  /// @return how many statements the server has run prepared
  int prepared() const {
    return std::stoi(
        m_server.query("select variable_value from information_schema.global_status where variable_name = "
                       "'com_stmt_execute'"));
  }
};

TEST_F(MariaDbDifferential, KeepsInStep) {
  run(repetitions(800));
  EXPECT_GT(prepared(), repetitions(20));
}

}  // namespace
