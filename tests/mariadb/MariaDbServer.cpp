#include "mariadb/MariaDbServer.h"

#include <mysql.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "faults/Loopback.h"

namespace {

constexpr char kUser[] = "vorn";
constexpr char kPlainPassword[] = "geheim &wort";

// Small, and quick instead of durable.
constexpr char kSettings[] =
    "[mariadbd]\nbind-address=127.0.0.1\nskip-name-resolve\ncharacter-set-server=utf8mb4\n"
    "innodb_buffer_pool_size=64M\ninnodb_log_file_size=16M\ninnodb_flush_method=nosync\ninnodb_doublewrite="
    "0\n"
    "innodb_flush_log_at_trx_commit=2\naria_log_file_size=8M\nperformance_schema=OFF\n";

pid_t spawn(const TemporaryDirectory& directory, const char* word) {
  const std::string folder = directory.file("");
  const pid_t child = fork();
  if (child != 0) return child;
  closefrom(3);
  execl(VORN_TEST_SOURCES "/mariadb/server.sh", "server.sh", folder.c_str(), word, nullptr);
  _exit(127);
}

// Making the data takes seconds, copying them a moment.
class EmptyData {
 public:
  EmptyData() {
    std::ofstream(m_directory.file("my.cnf")) << kSettings;
    std::ofstream(m_directory.file("users.sql"))
        << "flush privileges;\ncreate user " << kUser << " identified by '" << kPlainPassword << "';\n"
        << "grant all on *.* to " << kUser << " with grant option;\n";
    int status = 0;
    waitpid(spawn(m_directory, "install"), &status, 0);
    if (status == 0) return;
    std::ostringstream log;
    log << std::ifstream(m_directory.file("log")).rdbuf();
    throw std::runtime_error("the server's data cannot be made: " + log.str());
  }
  void copyTo(const std::string& folder) const {
    std::filesystem::copy(m_directory.file("data"), folder, std::filesystem::copy_options::recursive);
  }

 private:
  const TemporaryDirectory m_directory;
};

}  // namespace

MariaDbServer::MariaDbServer(const std::string& settings) {
  static const EmptyData empty;
  empty.copyTo(m_directory.file("data"));
  close(listenOnLoopback(m_port));
  std::ofstream(m_directory.file("my.cnf")) << kSettings << "port=" << m_port << "\nsocket=" << socket()
                                            << "\npid-file=" << m_directory.file("pid") << "\n"
                                            << settings;
  start();
}

MariaDbServer::~MariaDbServer() {
  if (m_process > 0) stop(SIGKILL);
}

void MariaDbServer::start() {
  m_process = spawn(m_directory, nullptr);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  for (bool answers = false; !answers; usleep(10000)) {
    const bool ended = waitpid(m_process, nullptr, WNOHANG) == m_process;
    if (ended || std::chrono::steady_clock::now() > deadline) {
      throw std::runtime_error("the server does not start");
    }
    try {
      query("select 1");
      answers = true;
    } catch (const std::runtime_error&) {
    }
  }
}

void MariaDbServer::stop(int signal) {
  kill(m_process, signal);
  waitpid(m_process, nullptr, 0);
  m_process = -1;
}

void MariaDbServer::signal(int signal) const {
  kill(m_process, signal);
  if (signal == SIGSTOP) waitpid(m_process, nullptr, WUNTRACED);  // to the last of its threads
}

std::string MariaDbServer::url(const std::string& database) const {
  return std::string("mariadb://") + kUser + ":" + kPassword + "@" + host() + "/" + database;
}

std::string MariaDbServer::freshDatabase() {
  const std::string name = "store" + std::to_string(++m_databases);
  query("create database " + name);
  return url(name);
}

MYSQL* MariaDbServer::connect(const std::string& database) const {
  MYSQL* const connection = mysql_init(nullptr);
  mysql_options(connection, MYSQL_SET_CHARSET_NAME, "utf8mb4");
  mysql_real_connect(connection, "127.0.0.1", kUser, kPlainPassword, database.c_str(),
                     static_cast<unsigned>(m_port), nullptr, CLIENT_MULTI_STATEMENTS);
  return connection;
}

std::string MariaDbServer::query(const std::string& sql, const std::string& database) const {
  const std::unique_ptr<MYSQL, void (*)(MYSQL*)> connection(connect(database), mysql_close);
  if (mysql_errno(connection.get()) != 0 || mysql_query(connection.get(), sql.c_str()) != 0) {
    throw std::runtime_error(sql + ": " + mysql_error(connection.get()));
  }
  std::string field;
  int more = 0;
  for (; more == 0; more = mysql_next_result(connection.get())) {
    const std::unique_ptr<MYSQL_RES, void (*)(MYSQL_RES*)> result(mysql_store_result(connection.get()),
                                                                  mysql_free_result);
    const MYSQL_ROW row = result ? mysql_fetch_row(result.get()) : nullptr;
    field = row == nullptr || row[0] == nullptr ? "" : row[0];
  }
  if (more > 0) throw std::runtime_error(sql + ": " + mysql_error(connection.get()));
  return field;
}

MariaDbServer& sharedMariaDbServer() {
  static MariaDbServer server;
  return server;
}
