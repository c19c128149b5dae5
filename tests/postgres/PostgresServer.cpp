#include "postgres/PostgresServer.h"

#include <libpq-fe.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <stdexcept>

#include "faults/Loopback.h"

int freePort() {
  int port = 0;
  close(listenOnLoopback(port));
  return port;
}

PostgresServer::PostgresServer(const std::string& settings) : m_port(freePort()) {
  std::ofstream(m_directory.file("password")) << "geheim &wort\n";
  execute({"initdb", "-D", m_data, "-N", "-E", "UTF8", "--no-locale", "-U", "vorn", "-A", "scram-sha-256",
           "--pwfile", m_directory.file("password")});
  configure(
      "fsync=off\nfull_page_writes=off\nshared_buffers=32MB\ndeadlock_timeout=100ms\n"
      "max_prepared_transactions=2\n" +
      settings);
  start();
}

PostgresServer::PostgresServer(const PostgresServer& primary, const std::string& settings)
    : m_port(freePort()) {
  execute({"pg_basebackup", "-D", m_data, "-R", "-c", "fast", "-d", primary.url()});
  configure(settings);
  start();
}

PostgresServer::~PostgresServer() {
  if (m_process > 0) stop(SIGQUIT);
}

void PostgresServer::configure(const std::string& settings) const {
  std::ofstream(m_data + "/postgresql.conf", std::ios::app)
      << "listen_addresses='127.0.0.1'\nport=" << m_port << "\nunix_socket_directories='"
      << m_directory.file("") << "'\n"
      << settings;
}

void PostgresServer::execute(const std::vector<std::string>& command) const {
  int status = 0;
  waitpid(spawn(command), &status, 0);
  if (status != 0) throw std::runtime_error(command[0]);
}

void PostgresServer::promote() const {
  execute({"pg_ctl", "promote", "-w", "-D", m_data});
}

void PostgresServer::start() {
  m_process = spawn({"postgres", "-D", m_data});
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (PQping(url().c_str()) != PQPING_OK) {
    if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error("the server does not start");
    usleep(10000);
  }
}

void PostgresServer::stop(int signal) {
  kill(m_process, signal);
  waitpid(m_process, nullptr, 0);
  m_process = -1;
}

std::string PostgresServer::url(const std::string& database) const {
  return std::string("postgresql://vorn:") + kPassword + "@" + host() + "/" + database;
}

std::string PostgresServer::freshDatabase() {
  const std::string name = "store" + std::to_string(++m_databases);
  query("create database " + name);
  return url(name);
}

std::string PostgresServer::query(const std::string& sql, const std::string& database) const {
  const std::unique_ptr<PGconn, void (*)(PGconn*)> connection(PQconnectdb(url(database).c_str()), PQfinish);
  const std::unique_ptr<PGresult, void (*)(PGresult*)> result(PQexec(connection.get(), sql.c_str()), PQclear);
  if (PQresultStatus(result.get()) > PGRES_TUPLES_OK) {
    throw std::runtime_error(sql + ": " + PQerrorMessage(connection.get()));
  }
  return PQntuples(result.get()) == 0 ? "" : PQgetvalue(result.get(), 0, 0);
}

pid_t startProgram(const TemporaryDirectory& directory, const std::vector<std::string>& command) {
  std::vector<std::string> words = {VORN_POSTGRES_PROGRAMS, directory.file("")};
  words.insert(words.end(), command.begin(), command.end());
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const pid_t child = fork();
  if (child != 0) return child;
  closefrom(3);
  execv(arguments[0], arguments.data());
  _exit(127);
}

PostgresServer& sharedPostgresServer() {
  static PostgresServer server;
  return server;
}
