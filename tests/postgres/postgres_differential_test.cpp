#include <libpq-fe.h>

#include "postgres/PostgresServer.h"
#include "store/DifferentialTest.h"

namespace {

using Connection = std::unique_ptr<PGconn, void (*)(PGconn*)>;
using Result = std::unique_ptr<PGresult, void (*)(PGresult*)>;

Result execute(const Connection& connection, const std::string& sql) {
  return Result(PQexec(connection.get(), sql.c_str()), PQclear);
}

class PostgresDifferential : public DifferentialTest {
 protected:
  PostgresDifferential() : DifferentialTest("postgres/postgres_statements.txt") { m_hasOrder = false; }

  void startRound() override {
    if (chance(2)) {  // or the connections go on under another schema
      vorn::unbindStores();
      PQreset(m_plain.get());
    }
    useStore(m_databases[0] + m_options);
    resetPlain();
    for (const auto& [sql, unused] : casesOf("postgres/differential_tables.sql")) {
      for (const Connection* const other : {&m_otherOnOurs, &m_otherOnPlain}) {
        const Result result = execute(*other, sql);
        ASSERT_LT(PQresultStatus(result.get()), PGRES_BAD_RESPONSE) << sql << PQerrorMessage(other->get());
      }
    }
  }

  Outcome runPlain(const std::string& sql, bool reads) override {
    const Result result(PQexecParams(m_plain.get(), sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0),
                        PQclear);
    Outcome outcome{{}, endOf(result.get(), sql)};
    for (int line = 0; reads && line < PQntuples(result.get()); ++line) {
      std::string& row = outcome.rows.emplace_back();
      for (int column = 0; column < PQnfields(result.get()); ++column)
        row += shown({valueOf(result.get(), line, column)});
    }
    return outcome;
  }

  bool plainInTransaction() override { return PQtransactionStatus(m_plain.get()) != PQTRANS_IDLE; }
  bool endsTransaction() override {
    return chance(PQtransactionStatus(m_plain.get()) == PQTRANS_INERROR ? 3 : 15);
  }

  void change() override {
    if (!isReading() && !plainInTransaction() && chance(3)) {
      if (m_held) resetPlain();  // as the library does with a connection that is given back
      m_held.reset();
      if (chance(2)) m_held.emplace("default");
    }
    if (m_held && chance(2)) return expectSame(m_generator.text("SESSION"));
    changeElsewhere(m_generator.text("CHANGE"));
  }

  void compareContents() override {
    EXPECT_EQ(contents(m_otherOnOurs), contents(m_otherOnPlain)) << "VORN_TEST_SEED=" << m_seed;
  }

 private:
  static std::string endOf(const PGresult* result, const std::string& sql) {
    const ExecStatusType status = PQresultStatus(result);
    if (status == PGRES_EMPTY_QUERY) return "vorn 6 EMPTY_STATEMENT";
    const bool undone = std::string(PQcmdStatus(const_cast<PGresult*>(result))) == "ROLLBACK";
    if (status == PGRES_TUPLES_OK || (status == PGRES_COMMAND_OK && (!undone || sql.find("roll") == 0)))
      return kSuccess;
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

  Connection connect(const std::string& url) { return {PQconnectdb(url.c_str()), PQfinish}; }

  void resetPlain() {
    execute(
        m_plain,
        "close all; reset all; deallocate all; unlisten *; set datestyle=iso; set intervalstyle=postgres");
  }

  /// Changes the schema of both, or of none where one of them is locked.
  void changeElsewhere(const std::string& sql) {
    bool done = true;
    for (const Connection* const other : {&m_otherOnOurs, &m_otherOnPlain}) {
      execute(*other, "begin; set local lock_timeout = '10ms'");
      done = PQresultStatus(execute(*other, sql).get()) < PGRES_BAD_RESPONSE && done;
    }
    for (const Connection* const other : {&m_otherOnOurs, &m_otherOnPlain})
      execute(*other, done ? "commit" : "rollback");
  }

  std::string contents(const Connection& connection) {
    std::string all;
    const Result tables = execute(connection,
                                  "select oid::regclass::text from pg_class where relkind = 'r' and "
                                  "relnamespace::regnamespace::text in ('one', 'two', 'three') order by 1");
    EXPECT_GE(PQntuples(tables.get()), 4);
    for (int table = 0; table < PQntuples(tables.get()); ++table) {
      const std::string name = PQgetvalue(tables.get(), table, 0);
      const Result rows =
          execute(connection, "select string_agg(t::text, e'\\n' order by t::text) from " + name + " as t");
      all += name + "\n" + PQgetvalue(rows.get(), 0, 0) + "\n";
    }
    return all;
  }

  PostgresServer m_server{"autovacuum=off\n"};  // a vacuum would lock a table of one of them
  const std::string m_databases[2] = {m_server.freshDatabase(), m_server.freshDatabase()};
  const std::string m_options =
      "?options=-c%20search_path%3Done,public%20-c%20client_min_messages%3Derror&sslmode=disable&gssencmode="
      "disable";
  Connection m_plain = connect(m_databases[1] + m_options);
  Connection m_otherOnOurs = connect(m_databases[0]);
  Connection m_otherOnPlain = connect(m_databases[1]);
};

TEST_F(PostgresDifferential, RandomTextsMeanWhatTheySay) {
  run(6000);
}

}  // namespace
