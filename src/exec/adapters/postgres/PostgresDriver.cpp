#include "exec/adapters/postgres/PostgresDriver.h"

#include <libpq-fe.h>
#include <openssl/crypto.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "common/ascii.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/postgres/PostgresConnection.h"

namespace vorn {

namespace {

using OptionList = std::unique_ptr<PQconninfoOption, void (*)(PQconninfoOption*)>;

// What the client library would refuse only when it connects.
constexpr const char* kWordOptions[][2] = {
    {"sslmode", "disable allow prefer require verify-ca verify-full"},
    {"target_session_attrs", "any read-write read-only primary standby prefer-standby"},
    {"client_encoding", "UTF8 utf8 UTF-8 utf-8"},
};

constexpr std::uint32_t kMostPreparedStatements = 10000;

constexpr char kConnectTimeout[] = "connect_timeout";

// Without limits a host that answers nothing would hold the caller for minutes when it connects and for two
// hours when it waits. Seconds. A limit on unacknowledged bytes is the channel's: the kernel's own,
// tcp_user_timeout, also ends a connection whose server merely takes its time.
constexpr const char* kDefaultLimits[][2] = {
    {kConnectTimeout, "10"},
    {"keepalives_idle", "30"},
    {"keepalives_interval", "10"},
    {"keepalives_count", "3"},
};

// What a service file says about the limits. The client library reads the file when it connects; here it is
// led to a socket that cannot exist.
PostgresKeywords limitsOfService(const PostgresKeywords& keywords) {
  std::string service;
  if (const auto found = keywords.find("service"); found != keywords.end()) service = found->second;
  const char* const names[] = {"service", "host", nullptr};
  const char* const values[] = {service.empty() ? nullptr : service.c_str(), "/nonexistent", nullptr};
  const std::unique_ptr<PGconn, void (*)(PGconn*)> probe(PQconnectStartParams(names, values, 0), PQfinish);
  if (!probe) throw std::bad_alloc();
  const OptionList effective(PQconninfo(probe.get()), PQconninfoFree);
  PostgresKeywords limits;
  for (const PQconninfoOption* option = effective.get(); option != nullptr && option->keyword != nullptr;
       ++option) {
    const bool isLimit =
        std::any_of(std::begin(kDefaultLimits), std::end(kDefaultLimits),
                    [option](const auto& limit) { return std::string_view(option->keyword) == limit[0]; });
    if (isLimit && option->val != nullptr && *option->val != '\0') limits[option->keyword] = option->val;
  }
  return limits;
}

// What the URL says about the limits comes first, then a service file, the environment, and the defaults
// here.
PostgresKeywords withLimits(PostgresKeywords keywords) {
  if (keywords.count("service") > 0 || std::getenv("PGSERVICE") != nullptr) {
    keywords.merge(limitsOfService(keywords));
  }
  for (const auto& [name, value] : kDefaultLimits) {
    const bool chosen =
        std::string_view(name) == kConnectTimeout && std::getenv("PGCONNECT_TIMEOUT") != nullptr;
    if (!chosen) keywords.emplace(name, value);
  }
  return keywords;
}

std::vector<std::string> clientKeywords() {
  const OptionList known(PQconndefaults(), PQconninfoFree);
  if (!known) throw std::bad_alloc();
  std::vector<std::string> keywords{"ssl"};
  for (const PQconninfoOption* option = known.get(); option->keyword != nullptr; ++option) {
    keywords.emplace_back(option->keyword);
  }
  return keywords;
}

void appendEncoded(std::string& uri, const std::string& text) {
  for (const char c : text) ascii::appendHex(uri, "%", c);
}

// The URI as it was given, without the options that are the layer's own.
std::string rebuildUri(const StoreUrl& url) {
  std::string uri = url.scheme() + ":" + url.location();
  char separator = '?';
  for (const auto& [name, value] : url.options()) {
    uri.append(1, separator).append(name).append(1, '=');
    appendEncoded(uri, value);
    separator = '&';
  }
  return uri;
}

ExecResult checkOptions(StoreUrl& url) {
  StoreUrl probe = url;
  for (const auto& [name, words] : kWordOptions) {
    std::string ignored;
    ExecResult result = probe.takeWord(name, words, ignored);
    if (!result.succeeded()) return result;
  }
  std::uint32_t seconds = 0;
  ExecResult result = probe.takeNumber(kConnectTimeout, 0, 86400, seconds);
  if (url.options().empty()) return result;
  const std::vector<std::string> keywords = clientKeywords();
  for (const auto& [name, value] : url.options()) {
    if (result.succeeded() && std::find(keywords.begin(), keywords.end(), name) == keywords.end()) {
      result = url.unknownOption(name, keywords);
    }
  }
  return result;
}

// One number for each host, or none for the default.
bool arePorts(const std::string& list) {
  std::istringstream ports(list);
  for (std::string port; std::getline(ports, port, ',');) {
    std::uint16_t number = 1;
    if (!port.empty() && (!ascii::parseWhole(port, number) || number == 0)) return false;
  }
  return true;
}

// The library's own message may quote the URI, and with it the password.
ExecResult malformed() {
  return makeFailure(Failure::InvalidUrl,
                     "the store URL is no valid postgresql:// URI; in a user's name and a password '@' is "
                     "written %40, ':' %3A and '/' %2F");
}

// A static object may still run a statement while the process ends, after the exit handlers of what was
// initialised later. The cryptography under the client library has one; without it there is nothing to lose
// but memory that goes anyway.
void keepCryptographyToTheEnd() {
  static const int done = OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  static_cast<void>(done);
}

}  // namespace

ExecResult makePostgresDriver(StoreUrl& url, const std::string&, std::shared_ptr<StoreDriver>& driver) {
  const std::string authority = url.location().substr(0, url.location().find('/', 2));
  // libpq splits at the first '@', and looks for it before the first '/' only. With another one a part of the
  // password would become the name of a host or of a database.
  const std::size_t at = url.location().find('@');
  if (authority.rfind("//", 0) != 0 || at != url.location().rfind('@') ||
      (at != std::string::npos && at > authority.size()))
    return malformed();
  PostgresSettings settings;
  std::string reset = "changed";
  ExecResult result = url.takeWord("session_reset", "changed always", reset);
  settings.alwaysReset = reset == "always";
  if (result.succeeded()) {
    result = url.takeNumber("statement_cache", 0, kMostPreparedStatements, settings.preparedStatements);
  }
  if (result.succeeded()) result = checkOptions(url);
  if (!result.succeeded()) return result;
  const OptionList parsed(PQconninfoParse(rebuildUri(url).c_str(), nullptr), PQconninfoFree);
  if (!parsed) return malformed();

  PostgresKeywords& keywords = settings.keywords;
  for (const PQconninfoOption* option = parsed.get(); option->keyword != nullptr; ++option) {
    if (option->val != nullptr) keywords.emplace(option->keyword, option->val);
  }
  if (keywords.count("port") > 0 && !arePorts(keywords["port"])) return malformed();
  // Texts travel as UTF-8 whatever the database keeps them in.
  keywords["client_encoding"] = "UTF8";
  keywords.emplace("fallback_application_name", "vorn");
  keepCryptographyToTheEnd();
  driver = std::make_shared<PostgresDriver>(std::move(settings));
  return result;
}

PostgresDriver::PostgresDriver(PostgresSettings settings) : m_settings(std::move(settings)) {}

std::string PostgresDriver::name() const {
  const auto part = [this](const char* mark, const char* keyword) {
    const auto found = m_settings.keywords.find(keyword);
    return found == m_settings.keywords.end() ? std::string() : mark + found->second;
  };
  const std::string host = part("", "host");
  return "postgresql://" + (host.empty() ? part("", "hostaddr") : host) + part(":", "port") +
         part("/", "dbname") + part("?service=", "service");
}

ExecResult PostgresDriver::open(std::unique_ptr<StoreConnection>& connection) {
  PostgresSettings settings = m_settings;
  settings.keywords = withLimits(std::move(settings.keywords));
  return PostgresConnection::open(settings, connection);
}

}  // namespace vorn
