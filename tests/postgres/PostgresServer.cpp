#include "postgres/PostgresServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <grp.h>
#include <libpq-fe.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace {

int freePort() {
  const int probe = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  bind(probe, reinterpret_cast<sockaddr*>(&address), size);
  getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size);
  close(probe);
  return ntohs(address.sin_port);
}

// The server refuses to run as root.
const passwd* serverUser() {
  if (geteuid() != 0) return nullptr;
  const passwd* user = getpwnam("postgres");
  return user != nullptr ? user : getpwnam("nobody");
}

std::string program(const std::string& name) {
  for (const auto& entry : std::filesystem::directory_iterator("/usr/lib/postgresql")) {
    const std::filesystem::path path = entry.path() / "bin" / name;
    if (std::filesystem::exists(path)) return path;
  }
  throw std::runtime_error("no " + name);
}

}  // namespace

PostgresServer::PostgresServer(Unmade) : m_directory(std::filesystem::temp_directory_path() / "vorn-server-XXXXXX"), m_port(freePort()) {
  if (mkdtemp(m_directory.data()) == nullptr) throw std::runtime_error("mkdtemp");
  m_data = m_directory + "/data";
  if (const passwd* user = serverUser()) {
    if (chown(m_directory.c_str(), user->pw_uid, user->pw_gid) != 0) throw std::runtime_error("chown");
  }
  std::ofstream(m_directory + "/password") << "geheim &wort\n";
}

PostgresServer::PostgresServer(const std::string& settings) : PostgresServer(Unmade()) {
  execute({"initdb", "-D", m_data, "-N", "-E", "UTF8", "--no-locale", "-U", "vorn", "-A", "scram-sha-256", "--pwfile",
           m_directory + "/password"});
  configure("fsync=off\nfull_page_writes=off\nshared_buffers=32MB\ndeadlock_timeout=100ms\n" + settings);
  start();
}

std::unique_ptr<PostgresServer> PostgresServer::standbyOf(const PostgresServer& primary, const std::string& settings) {
  std::unique_ptr<PostgresServer> standby(new PostgresServer(Unmade()));
  standby->execute({"pg_basebackup", "-D", standby->m_data, "-R", "-c", "fast", "-d", primary.url()});
  standby->configure(settings);
  standby->start();
  return standby;
}

PostgresServer::~PostgresServer() {
  if (m_process > 0) stop(SIGQUIT);
  std::error_code ignored;
  std::filesystem::remove_all(m_directory, ignored);
}

void PostgresServer::configure(const std::string& settings) const {
  std::ofstream(m_data + "/postgresql.conf", std::ios::app)
      << "listen_addresses='127.0.0.1'\nport=" << m_port << "\nunix_socket_directories='" << m_directory << "'\n"
      << settings;
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

void PostgresServer::promote() const { execute({"pg_ctl", "promote", "-D", m_data}); }

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
  if (PQresultStatus(result.get()) > PGRES_TUPLES_OK) { throw std::runtime_error(sql + ": " + PQerrorMessage(connection.get())); }
  return PQntuples(result.get()) == 0 ? "" : PQgetvalue(result.get(), 0, 0);
}

pid_t PostgresServer::spawn(const std::vector<std::string>& command) const {
  // The programs look for each other beside the path that they were started under.
  const std::string path = program(command[0]);
  const std::string output = m_directory + "/log";
  std::vector<char*> arguments{const_cast<char*>(path.c_str())};
  for (std::size_t at = 1; at < command.size(); ++at) arguments.push_back(const_cast<char*>(command[at].c_str()));
  arguments.push_back(nullptr);
  const passwd* user = serverUser();
  const pid_t child = fork();
  if (child != 0) return child;
  const int log = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
  dup2(log, STDOUT_FILENO);
  dup2(log, STDERR_FILENO);
  for (int file = 3; file < 256; ++file) close(file);
  if (user != nullptr && (setgroups(0, nullptr) != 0 || setgid(user->pw_gid) != 0 || setuid(user->pw_uid) != 0)) _exit(1);
  prctl(PR_SET_PDEATHSIG, SIGQUIT);
  execv(path.c_str(), arguments.data());
  _exit(127);
}

void PostgresServer::execute(const std::vector<std::string>& command) const {
  int status = 0;
  waitpid(spawn(command), &status, 0);
  if (status == 0) return;
  std::ifstream log(m_directory + "/log");
  throw std::runtime_error(command[0] + ": " + std::string(std::istreambuf_iterator<char>(log), {}));
}

PostgresServer& sharedPostgresServer() {
  static PostgresServer server;
  return server;
}
