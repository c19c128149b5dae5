#include "mariadb/MariaDbServer.h"

#include <filesystem>
#include <fstream>
#include <memory>

namespace {

// Small, and quick instead of durable.
constexpr char kSettings[] =
    "[mariadbd]\nbind-address=127.0.0.1\nskip-name-resolve\ncharacter-set-server=utf8mb4\n"
    "innodb_buffer_pool_size=64M\ninnodb_log_file_size=16M\ninnodb_flush_method=nosync\ninnodb_doublewrite="
    "0\n"
    "innodb_flush_log_at_trx_commit=2\naria_log_file_size=8M\nperformance_schema=OFF\n";

constexpr char kProgram[] = VORN_TEST_SOURCES "/mariadb/server.sh";

// Making the data takes seconds, copying them a moment.
struct EmptyData {
  EmptyData() {
    std::ofstream(directory.file("my.cnf")) << kSettings;
    std::ofstream(directory.file("users.sql"))
        << "flush privileges;\ncreate user " << TestServer::kUser << " identified by '"
        << TestServer::kPlainPassword << "';\n"
        << "grant all on *.* to " << TestServer::kUser << " with grant option;\n";
    TestProgram::execute({kProgram, directory.file(""), "install"});
  }

  const TemporaryDirectory directory;
};

}  // namespace

MariaDbServer::MariaDbServer(const std::string& settings) : TestServer("mariadb://", "mysql") {
  static const EmptyData empty;
  std::filesystem::copy(empty.directory.file("data"), file("data"), std::filesystem::copy_options::recursive);
  std::ofstream(file("my.cnf")) << kSettings << "port=" << port() << "\nsocket=" << file("socket")
                                << "\npid-file=" << file("pid") << "\nssl_cert=" << file("certificate")
                                << "\nssl_key=" << file("certificate.key") << "\n"
                                << settings;
  start();
}

void MariaDbServer::start() {
  launchAndWait({kProgram, file("")});
}

MYSQL* MariaDbServer::connect(const std::string& database) const {
  return connectToMariaDb("127.0.0.1", port(), kUser, kPlainPassword, database);
}

std::string MariaDbServer::query(const std::string& sql, const std::string& database) const {
  const std::unique_ptr<MYSQL, void (*)(MYSQL*)> connection(connect(database), mysql_close);
  return lastRowOf(connection.get(), sql);
}

std::string MariaDbServer::striking(Struck what) const {
  const std::string which = what == Struck::Connection ? "true" : "command <> 'Sleep'";
  const std::string kill = what == Struck::Connection ? "kill" : "kill query";
  return "set @met = 0; begin not atomic declare continue handler for sqlexception set @met = 0; for c in "
         "(select id from information_schema.processlist where user = 'vorn' and id <> connection_id() and " +
         which + " order by rand() limit 1) do set @met = 1; " + kill + " c.id; end for; end; select @met";
}

TestServer& sharedMariaDbServer() {
  static MariaDbServer server;
  return server;
}

MYSQL* connectToMariaDb(const std::string& host, int port, const char* user, const char* password,
                        const std::string& database) {
  MYSQL* const connection = mysql_init(nullptr);
  const unsigned limit = 10;
  const unsigned longLimit = 600;  // counts millions of rows
  mysql_options(connection, MYSQL_OPT_CONNECT_TIMEOUT, &limit);
  mysql_options(connection, MYSQL_OPT_READ_TIMEOUT, &longLimit);
  mysql_options(connection, MYSQL_SET_CHARSET_NAME, "utf8mb4");
  mysql_real_connect(connection, host.c_str(), user, password, database.c_str(), static_cast<unsigned>(port),
                     nullptr, CLIENT_MULTI_STATEMENTS);
  return connection;
}

std::string lastRowOf(MYSQL* connection, const std::string& sql) {
  const auto failIf = [&](bool hasFailed) {
    if (hasFailed) throw std::runtime_error(sql + ": " + mysql_error(connection));
  };
  failIf(mysql_errno(connection) != 0 || mysql_query(connection, sql.c_str()) != 0);
  std::string fields;
  int more = 0;
  for (; more == 0; more = mysql_next_result(connection)) {
    fields.clear();
    const std::unique_ptr<MYSQL_RES, void (*)(MYSQL_RES*)> result(mysql_store_result(connection),
                                                                  mysql_free_result);
    failIf(mysql_errno(connection) != 0);
    while (const MYSQL_ROW row = result == nullptr ? nullptr : mysql_fetch_row(result.get())) {
      fields.clear();
      for (unsigned field = 0; field < mysql_num_fields(result.get()); ++field) {
        fields.append(field == 0 ? "" : "|").append(row[field] == nullptr ? "~" : row[field]);
      }
    }
  }
  failIf(more > 0);
  return fields;
}
