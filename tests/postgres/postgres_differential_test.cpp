#include <libpq-fe.h>

#include <regex>

#include "faults/ServerDifferential.h"
#include "postgres/PostgresServer.h"

namespace {

class PostgresClient : public DifferentialTest::Client {
 public:
  PostgresClient(const std::string& url, const PostgresServer&)
      : m_connection(PQconnectdb(url.c_str()), PQfinish) {}

  DifferentialTest::Outcome run(const std::string& sql, bool reads) override {
    const Result result(
        PQexecParams(m_connection.get(), sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0), PQclear);
    DifferentialTest::Outcome outcome{{}, endOf(result.get(), sql)};
    for (int line = 0; reads && line < PQntuples(result.get()); ++line) {
      std::string& row = outcome.rows.emplace_back();
      for (int column = 0; column < PQnfields(result.get()); ++column)
        row += DifferentialTest::shown({valueOf(result.get(), line, column)});
    }
    return outcome;
  }

  bool inTransaction() override { return PQtransactionStatus(m_connection.get()) != PQTRANS_IDLE; }
  bool hasFailed() override { return PQtransactionStatus(m_connection.get()) == PQTRANS_INERROR; }

 private:
  using Result = std::unique_ptr<PGresult, void (*)(PGresult*)>;

  static std::string endOf(const PGresult* result, const std::string& sql) {
    const ExecStatusType status = PQresultStatus(result);
    if (status == PGRES_EMPTY_QUERY) return "vorn 6 EMPTY_STATEMENT";
    const bool undone = std::string(PQcmdStatus(const_cast<PGresult*>(result))) == "ROLLBACK";
    static const std::regex rollback("rollback|abort", std::regex::icase);
    const bool isDone = status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK;
    if (isDone && (!undone || std::regex_search(sql, rollback))) return kSuccess;
    const char* const place = PQresultErrorField(result, PG_DIAG_SOURCE_FUNCTION);
    const std::string state = undone ? "25P02" : PQresultErrorField(result, PG_DIAG_SQLSTATE);
    if (state == "42601" && std::string(place) == "exec_parse_message") return "vorn 4 MULTIPLE_STATEMENTS";
    return describe(2UL << 32 | std::strtoul(state.c_str(), nullptr, 36));
  }

  static vorn::RowValue valueOf(const PGresult* result, int line, int column) {
    constexpr Oid kBool = 16, kBytea = 17, kInt8 = 20, kInt2 = 21, kInt4 = 23, kFloat4 = 700, kFloat8 = 701;
    std::string text = PQgetvalue(result, line, column);
    const Oid type = PQftype(result, column);
    vorn::RowValue value;
    if (PQgetisnull(result, line, column) != 0) return value;
    if (type == kBool) text = text == "t" ? "true" : "false";
    if (type == kBytea) {
      std::size_t size = 0;
      const auto* const escaped = reinterpret_cast<const unsigned char*>(text.c_str());
      const std::unique_ptr<unsigned char, void (*)(void*)> bytes(PQunescapeBytea(escaped, &size), PQfreemem);
      text.assign(reinterpret_cast<const char*>(bytes.get()), size);
    }
    value.setText(text.data(), text.size());
    if (type == kInt2 || type == kInt4 || type == kInt8) value.setInteger(std::stoll(text));
    if (type == kFloat4 || type == kFloat8) value.setReal(std::stod(text));
    return value;
  }

  const std::unique_ptr<PGconn, void (*)(PGconn*)> m_connection;
};

constexpr char kOptions[] =
    "?options=-c%20search_path%3Done,public%20-c%20client_min_messages%3Derror%20-c%20lock_timeout%3D1"
    "&sslmode=disable&gssencmode=disable";

class PostgresDifferential : public ServerDifferential<PostgresServer, PostgresClient> {
 protected:
  // A vacuum would lock a table of one of them.
  PostgresDifferential() : ServerDifferential("postgres", "autovacuum=off\n", kOptions) {
    m_checksRowsTogether = true;
  }

  std::string contentsSql(Client& client) override {
    std::string all = "select ''";
    const std::string names =
        "select format('%I.%I', nspname, relname) from pg_class, pg_namespace n where n.oid = "
        "relnamespace and relkind = 'r' and nspname in ('one', 'two', 'three')";
    for (const std::string& row : client.run(names, true).rows) {
      const std::string name = row.substr(2, row.size() - 3);
      all += " union all select '" + name + "'||whole::text from " + name + " as whole";
    }
    return all;
  }

  // Every value goes through the input of its column.
  std::string literal(const Value& value) override { return "'" + replaced(textOf(value), "'", "''") + "'"; }
};

TEST_F(PostgresDifferential, KeepsInStep) {
  run(repetitions(800));
}

}  // namespace
