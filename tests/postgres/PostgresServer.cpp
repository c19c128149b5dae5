#include "postgres/PostgresServer.h"

#include <libpq-fe.h>

#include <fstream>
#include <memory>

PostgresServer::PostgresServer(const std::string& settings) : TestServer("postgresql://", "postgres") {
  std::ofstream(file("password")) << kPlainPassword << "\n";
  execute(command({"initdb", "-D", m_data, "-N", "-E", "UTF8", "--no-locale", "-U", kUser, "-A",
                   "scram-sha-256", "--pwfile", file("password")}));
  configure(
      "fsync=off\nfull_page_writes=off\nshared_buffers=32MB\ndeadlock_timeout=100ms\n"
      "max_prepared_transactions=2\n" +
      settings);
  start();
}

PostgresServer::PostgresServer(const PostgresServer& primary, const std::string& settings)
    : TestServer("postgresql://", "postgres") {
  execute(command({"pg_basebackup", "-D", m_data, "-R", "-c", "fast", "-d", primary.url()}));
  configure(settings);
  start();
}

void PostgresServer::configure(const std::string& settings) const {
  std::ofstream(m_data + "/postgresql.conf", std::ios::app)
      << "listen_addresses='127.0.0.1'\nport=" << port() << "\nunix_socket_directories='" << file("") << "'\n"
      << "ssl_cert_file='" << file("certificate") << "'\nssl_key_file='" << file("certificate.key") << "'\n"
      << settings;
}

std::vector<std::string> PostgresServer::command(const std::vector<std::string>& words) const {
  std::vector<std::string> all = {VORN_POSTGRES_PROGRAMS, file("")};
  all.insert(all.end(), words.begin(), words.end());
  return all;
}

void PostgresServer::promote() const {
  execute(command({"pg_ctl", "promote", "-w", "-D", m_data}));
}

void PostgresServer::start() {
  launchAndWait(command({"postgres", "-D", m_data}));
}

std::string PostgresServer::query(const std::string& sql, const std::string& database) const {
  const std::unique_ptr<PGconn, void (*)(PGconn*)> connection(PQconnectdb(url(database).c_str()), PQfinish);
  const std::unique_ptr<PGresult, void (*)(PGresult*)> result(PQexec(connection.get(), sql.c_str()), PQclear);
  if (PQresultStatus(result.get()) > PGRES_TUPLES_OK) {
    throw std::runtime_error(sql + ": " + PQerrorMessage(connection.get()));
  }
  return PQntuples(result.get()) == 0 ? "" : PQgetvalue(result.get(), 0, 0);
}

// A copy is the answer to a cancellation that has the most states.
std::string PostgresServer::striking(Struck what) const {
  const std::string which = what == Struck::Connection ? "true" : "state = 'active'";
  const std::string end = what == Struck::Connection ? "pg_terminate_backend" : "pg_cancel_backend";
  return "select count(*) filter (where " + end + "(pid)) from (select pid from pg_stat_activity where " +
         which +
         " and backend_type = 'client backend' and pid <> pg_backend_pid() "
         "order by random() - (query ilike 'copy%')::int * 0.3 limit 1) as x";
}

TestServer& sharedPostgresServer() {
  static PostgresServer server;
  return server;
}
