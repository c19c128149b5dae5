#include "exec/adapters/mariadb/MariaDbDriver.h"

#include <mysql.h>
#include <openssl/crypto.h>

#include <csignal>
#include <string_view>
#include <utility>

#include "common/ascii.h"
#include "common/joined.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/mariadb/MariaDbConnection.h"

namespace vorn {

namespace {

constexpr std::uint32_t kLongestTimeout = 86400;
constexpr std::uint32_t kMostPreparedStatements = 10000;
constexpr std::uint32_t kMostSyncWait = 15;
constexpr std::size_t kLongestSocketPath = 107;
constexpr char kWrittenAs[] = "; in a user's name and a password '@' is written %40, ':' %3A and '/' %2F";

ExecResult malformed(const std::string& what) {
  return makeFailure(Failure::InvalidUrl, "the store URL " + what);
}

// HOST, HOST:PORT, [ADDRESS] or [ADDRESS]:PORT.
ExecResult takeHost(std::string_view text, std::vector<MariaDbHost>& hosts) {
  MariaDbHost host;
  const bool bracketed = !text.empty() && text[0] == '[';
  const std::size_t end = bracketed ? text.find(']') : text.find(':');
  if (bracketed && end == std::string_view::npos)
    return malformed("has an address without its closing bracket");
  const std::string_view name = bracketed ? text.substr(1, end - 1) : text.substr(0, end);
  const std::string_view rest = end == std::string_view::npos ? "" : text.substr(bracketed ? end + 1 : end);
  if (name.empty()) return malformed("has an empty host");
  if (bracketed && name.find_first_not_of("0123456789abcdefABCDEF:.%") != std::string_view::npos) {
    return malformed("has no address of digits in brackets");
  }
  if (!rest.empty() && (rest[0] != ':' || !ascii::parseWhole(rest.substr(1), host.port) || host.port == 0)) {
    return malformed("has a port that is no number from 1 to 65535");
  }
  ExecResult result = percentDecode(std::string(name), host.name);
  // The client library would take it for a list of options.
  if (host.name.find_first_of("=;") != std::string::npos) return malformed("has a host with '=' or ';'");
  if (result.succeeded()) hosts.push_back(std::move(host));
  return result;
}

ExecResult takeHosts(std::string_view list, std::vector<MariaDbHost>& hosts) {
  ExecResult result;
  for (std::size_t at = 0; result.succeeded() && at <= list.size();) {
    const std::size_t comma = std::min(list.find(',', at), list.size());
    result = takeHost(list.substr(at, comma - at), hosts);
    at = comma + 1;
  }
  return result;
}

// user, user:password.
ExecResult takeUser(const std::string& text, MariaDbSettings& settings) {
  const std::size_t colon = text.find(':');
  ExecResult result = percentDecode(text.substr(0, colon), settings.user);
  if (result.succeeded() && colon != std::string::npos) {
    result = percentDecode(text.substr(colon + 1), settings.password);
  }
  return result;
}

// What stands before the options. With two '@' a part of the password might become the name of a host.
ExecResult takeLocation(const std::string& location, MariaDbSettings& settings) {
  if (location.rfind("//", 0) != 0) return malformed("does not begin with mariadb://");
  const std::size_t slash = location.find('/', 2);
  const std::string authority = location.substr(2, slash == std::string::npos ? slash : slash - 2);
  const std::size_t at = authority.find('@');
  if (location.find('@') != location.rfind('@'))
    return malformed(std::string("has an '@' more than the one before its hosts") + kWrittenAs);
  if (at == std::string::npos && location.find('@') != std::string::npos)
    return malformed(std::string("has a '/' before its '@'") + kWrittenAs);
  ExecResult result;
  if (at != std::string::npos) result = takeUser(authority.substr(0, at), settings);
  const std::string hosts = at == std::string::npos ? authority : authority.substr(at + 1);
  if (result.succeeded() && !hosts.empty()) result = takeHosts(hosts, settings.hosts);
  if (!result.succeeded() || slash == std::string::npos) return result;
  const std::string database = location.substr(slash + 1);
  if (database.find('/') != std::string::npos)
    return malformed("has a '/' in its database; encode it as %2F");
  return percentDecode(database, settings.database);
}

ExecResult takeSwitch(StoreUrl& url, const std::string& name, bool& value) {
  std::string word = value ? "on" : "off";
  ExecResult result = url.takeWord(name, "on off", word);
  value = word == "on";
  return result;
}

// Whatever is said about encryption asks for it, and encryption that is asked for verifies the server.
ExecResult takeEncryption(StoreUrl& url, MariaDbEncryption& encryption) {
  const std::pair<const char*, std::string*> texts[] = {{"ssl_ca", &encryption.ca},
                                                        {"ssl_capath", &encryption.caFolder},
                                                        {"ssl_cert", &encryption.certificate},
                                                        {"ssl_key", &encryption.key},
                                                        {"ssl_cipher", &encryption.cipher},
                                                        {"ssl_crl", &encryption.revoked},
                                                        {"ssl_crlpath", &encryption.revokedFolder},
                                                        {"tls_version", &encryption.versions}};
  bool detailed = url.options().count("ssl_verify_server_cert") > 0;
  for (const auto& [name, target] : texts) {
    if (!url.take(name, *target)) continue;
    if (target->empty()) return malformed(std::string("has an empty option '") + name + "'");
    detailed = true;
  }
  encryption.required = detailed;
  ExecResult result = takeSwitch(url, "ssl", encryption.required);
  encryption.verifyServer = encryption.required;
  if (result.succeeded()) result = takeSwitch(url, "ssl_verify_server_cert", encryption.verifyServer);
  if (result.succeeded() && detailed && !encryption.required) {
    return malformed("says ssl=off beside other options of encryption");
  }
  return result;
}

ExecResult takeNumbers(StoreUrl& url, MariaDbSettings& settings) {
  const struct {
    const char* name;
    std::uint32_t least;
    std::uint32_t most;
    std::uint32_t* value;
  } numbers[] = {{"connect_timeout", 1, kLongestTimeout, &settings.connectTimeout},
                 {"read_timeout", 0, kLongestTimeout, &settings.readTimeout},
                 {"write_timeout", 0, kLongestTimeout, &settings.writeTimeout},
                 {"statement_cache", 0, kMostPreparedStatements, &settings.preparedStatements},
                 {"sync_wait", 0, kMostSyncWait, &settings.syncWait}};
  ExecResult result;
  for (const auto& number : numbers) {
    if (result.succeeded()) result = url.takeNumber(number.name, number.least, number.most, *number.value);
  }
  return result;
}

ExecResult takeOptions(StoreUrl& url, MariaDbSettings& settings) {
  std::string order = "no";
  ExecResult result = url.takeWord("load_balance", "no random", order);
  settings.randomHost = order == "random";
  if (result.succeeded()) result = takeNumbers(url, settings);
  if (result.succeeded()) result = takeEncryption(url, settings.encryption);
  if (result.succeeded()) result = takeSwitch(url, "compress", settings.compress);
  if (!result.succeeded()) return result;
  const bool local = url.take("socket", settings.socket);
  result = url.refuseRest();
  if (!result.succeeded()) return result;
  if (!local) return settings.hosts.empty() ? malformed("names neither a host nor a socket") : result;
  if (settings.socket.empty() || settings.socket[0] != '/' || settings.socket.size() > kLongestSocketPath) {
    return malformed("option 'socket' takes an absolute path of at most 107 bytes");
  }
  if (!settings.hosts.empty() && (settings.hosts.size() > 1 || settings.hosts[0].name != "localhost")) {
    return malformed("names hosts and a socket");
  }
  return result;
}

// A static object may still run a statement while the process ends, after the exit handlers of what was
// initialised later. The cryptography under the client library has one; without it there is nothing to lose
// but memory that goes anyway. The client library has the process ignore SIGPIPE, which is not its business.
bool initialiseClientLibrary() {
  struct sigaction before {};
  sigaction(SIGPIPE, nullptr, &before);
  const bool done = OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr) == 1 &&
                    mysql_library_init(0, nullptr, nullptr) == 0;
  sigaction(SIGPIPE, &before, nullptr);
  return done;
}

ExecResult startClientLibrary() {
  static const bool started = initialiseClientLibrary();
  return started ? ExecResult() : outOfMemory();
}

}  // namespace

ExecResult makeMariaDbDriver(StoreUrl& url, const std::string&, std::shared_ptr<StoreDriver>& driver) {
  MariaDbSettings settings;
  ExecResult result = takeLocation(url.location(), settings);
  if (result.succeeded()) result = takeOptions(url, settings);
  if (result.succeeded()) result = startClientLibrary();
  if (result.succeeded()) driver = std::make_shared<MariaDbDriver>(std::move(settings));
  return result;
}

MariaDbDriver::MariaDbDriver(MariaDbSettings settings) : m_settings(std::move(settings)) {}

std::string MariaDbDriver::name() const {
  std::string text = "mariadb://";
  appendJoined(text, m_settings.hosts, ",",
               [](std::string& target, const MariaDbHost& host) { target += host.text(); });
  return text.append(m_settings.hosts.empty() ? m_settings.socket : "")
      .append("/")
      .append(m_settings.database);
}

ExecResult MariaDbDriver::open(std::unique_ptr<StoreConnection>& connection) {
  return MariaDbConnection::open(m_settings, connection);
}

}  // namespace vorn
