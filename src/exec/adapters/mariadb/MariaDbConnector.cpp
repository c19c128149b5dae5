#include "exec/adapters/mariadb/MariaDbConnector.h"

#include <errmsg.h>
#include <mysqld_error.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <random>
#include <string>
#include <string_view>

#include "common/ascii.h"
#include "common/c_locale.h"
#include "exec/adapters/mariadb/MariaDbError.h"
#include "exec/adapters/mariadb/NoPipeSignal.h"

namespace vorn {

namespace {

// Without a limit a host that answers nothing would hold the caller for two hours. Seconds.
constexpr int kKeepAliveIdle = 30;
constexpr int kKeepAliveInterval = 10;
constexpr int kKeepAliveCount = 3;

// What a server that has no part in a cluster answers is no reason to refuse it.
constexpr char kNodeState[] =
    "show global status where variable_name in ('wsrep_provider_name','wsrep_ready')";

void setText(MYSQL* handle, mysql_option option, const std::string& text) {
  if (!text.empty()) mysql_options(handle, option, text.c_str());
}

void setEncryption(MYSQL* handle, const MariaDbEncryption& encryption) {
  const my_bool required = encryption.required ? 1 : 0;
  const my_bool verify = encryption.verifyServer ? 1 : 0;
  mysql_options(handle, MYSQL_OPT_SSL_ENFORCE, &required);
  mysql_options(handle, MYSQL_OPT_SSL_VERIFY_SERVER_CERT, &verify);
  setText(handle, MYSQL_OPT_SSL_CA, encryption.ca);
  setText(handle, MYSQL_OPT_SSL_CAPATH, encryption.caFolder);
  setText(handle, MYSQL_OPT_SSL_CERT, encryption.certificate);
  setText(handle, MYSQL_OPT_SSL_KEY, encryption.key);
  setText(handle, MYSQL_OPT_SSL_CIPHER, encryption.cipher);
  setText(handle, MYSQL_OPT_SSL_CRL, encryption.revoked);
  setText(handle, MYSQL_OPT_SSL_CRLPATH, encryption.revokedFolder);
  setText(handle, MARIADB_OPT_TLS_VERSION, encryption.versions);
}

void setOptions(MYSQL* handle, const MariaDbSettings& settings) {
  const unsigned int limit = settings.connectTimeout;
  const unsigned int off = 0;
  const my_bool on = 1;
  mysql_options(handle, MYSQL_OPT_CONNECT_TIMEOUT, &limit);
  mysql_options(handle, MYSQL_OPT_READ_TIMEOUT, &limit);
  mysql_options(handle, MYSQL_OPT_WRITE_TIMEOUT, &limit);
  const unsigned int protocol = settings.socket.empty() ? MYSQL_PROTOCOL_TCP : MYSQL_PROTOCOL_SOCKET;
  mysql_options(handle, MYSQL_OPT_PROTOCOL, &protocol);  // also where the host is called localhost
  mysql_options(handle, MYSQL_OPT_LOCAL_INFILE, &off);
  mysql_options(handle, MYSQL_SET_CHARSET_NAME, "utf8mb4");
  mysql_options(handle, MYSQL_REPORT_DATA_TRUNCATION, &on);
  mysql_options4(handle, MYSQL_OPT_CONNECT_ATTR_ADD, "program_name", "vorn");
  if (settings.compress) mysql_options(handle, MYSQL_OPT_COMPRESS, nullptr);
  setEncryption(handle, settings.encryption);
}

// The client library ends its message with the system's number, or with the resolver's, which is negative:
// "Can't connect to server on 'h' (111)", "… system error: 110".
std::string withWordOfNumber(std::string message) {
  const std::size_t end = message.size() - (!message.empty() && message.back() == ')' ? 1 : 0);
  const std::size_t begin = message.find_last_of("( ") + 1;
  int number = 0;
  if (begin > end || !ascii::parseWhole(std::string_view(message).substr(begin, end - begin), number))
    return message;
  // With a time limit for connecting, that is what it says of every failure.
  const char* const word = number == EINPROGRESS ? "refused, unreachable, or no answer in time"
                           : number < 0          ? gai_strerror(number)
                                                 : strerror_l(number, cLocale());
  return message.insert(end, std::string(": ") + word);
}

ExecResult failure(MYSQL* handle, const std::string& where) {
  return mariaDbConnectFailure(mysql_errno(handle), where + withWordOfNumber(mysql_error(handle)));
}

void keepAlive(MYSQL* handle) {
  const my_socket socket = mysql_get_socket(handle);
  const auto set = [socket](int level, int option, int value) {
    static_cast<void>(setsockopt(socket, level, option, &value, sizeof value));  // a local socket has none
  };
  set(SOL_SOCKET, SO_KEEPALIVE, 1);
  set(IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdle);
  set(IPPROTO_TCP, TCP_KEEPINTVL, kKeepAliveInterval);
  set(IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveCount);
}

ExecResult checkNode(MYSQL* handle, const std::string& where) {
  if (mysql_query(handle, kNodeState) != 0) return failure(handle, where);
  const std::unique_ptr<MYSQL_RES, void (*)(MYSQL_RES*)> result(mysql_store_result(handle),
                                                                mysql_free_result);
  if (!result) return failure(handle, where);
  bool inCluster = false;
  bool ready = true;
  while (const MYSQL_ROW row = mysql_fetch_row(result.get())) {
    if (row[0] == nullptr || row[1] == nullptr) continue;
    if (std::strcmp(row[0], "wsrep_ready") == 0) ready = std::strcmp(row[1], "ON") == 0;
    if (std::strcmp(row[0], "wsrep_provider_name") == 0) inCluster = *row[1] != '\0';
  }
  if (ready || !inCluster) return {};
  return mariaDbConnectFailure(ER_UNKNOWN_COM_ERROR,
                               where + "the node has no part in the primary component of its cluster");
}

ExecResult connectTo(const MariaDbSettings& settings, const MariaDbHost* host, MariaDbHandle& handle) {
  const NoPipeSignal quiet(settings.encryption.required);
  MariaDbHandle opened(mysql_init(nullptr));
  if (!opened) throw std::bad_alloc();
  setOptions(opened.get(), settings);
  const std::string where = (host == nullptr ? settings.socket : host->text()) + ": ";
  // Counted are the rows that a statement finds, as on every store, and not those that it makes different.
  if (mysql_real_connect(opened.get(), host == nullptr ? nullptr : host->name.c_str(), settings.user.c_str(),
                         settings.password.c_str(),
                         settings.database.empty() ? nullptr : settings.database.c_str(),
                         host == nullptr ? 0 : host->port,
                         host == nullptr ? settings.socket.c_str() : nullptr, CLIENT_FOUND_ROWS) == nullptr) {
    return failure(opened.get(), where);
  }
  // Where the certificate is not verified, the client library is content with a server that does not encrypt.
  if (settings.encryption.required && mysql_get_ssl_cipher(opened.get()) == nullptr) {
    return mariaDbConnectFailure(CR_SSL_CONNECTION_ERROR, where + "the server does not encrypt");
  }
  keepAlive(opened.get());
  ExecResult result = checkNode(opened.get(), where);
  if (result.succeeded()) handle = std::move(opened);
  return result;
}

}  // namespace

ExecResult MariaDbConnector::connect(const MariaDbSettings& settings, MariaDbHandle& handle) {
  if (!settings.socket.empty()) return connectTo(settings, nullptr, handle);
  const std::size_t count = settings.hosts.size();
  const std::size_t first = settings.randomHost ? std::random_device()() % count : 0;
  ExecResult result;
  for (std::size_t tried = 0; tried < count; ++tried) {
    result = connectTo(settings, &settings.hosts[(first + tried) % count], handle);
    if (result.succeeded()) break;
  }
  return result;
}

}  // namespace vorn
