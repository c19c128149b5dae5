#include "exec/adapters/postgres/PostgresDriver.h"

#include <libpq-fe.h>

#include <charconv>
#include <cstdlib>
#include <new>
#include <sstream>
#include <system_error>
#include <utility>

#include "exec/adapters/LayerError.h"
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

constexpr char kConnectTimeout[] = "connect_timeout";

// Without limits a host that answers nothing would hold the caller for minutes when it connects, for a
// quarter of an hour when it sends, and for two hours when it waits. Seconds, tcp_user_timeout milliseconds.
constexpr const char* kDefaultLimits[][2] = {
    {kConnectTimeout, "10"},       {"tcp_user_timeout", "30000"}, {"keepalives_idle", "30"},
    {"keepalives_interval", "10"}, {"keepalives_count", "3"},
};

bool isKeyword(const std::string& name) {
  const OptionList known(PQconndefaults(), PQconninfoFree);
  if (!known) throw std::bad_alloc();
  for (const PQconninfoOption* option = known.get(); option->keyword != nullptr; ++option) {
    if (name == option->keyword) return true;
  }
  return name == "ssl";
}

void appendEncoded(std::string& uri, const std::string& text) {
  constexpr char kHex[] = "0123456789ABCDEF";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    uri.append({'%', kHex[byte >> 4], kHex[byte & 15]});
  }
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
  for (const auto& [name, value] : url.options()) {
    if (result.succeeded() && !isKeyword(name)) {
      result = url.unknownOption(name);
    }
  }
  return result;
}

// One number for each host, or none for the default.
bool arePorts(const std::string& list) {
  std::istringstream ports(list);
  for (std::string port; std::getline(ports, port, ',');) {
    std::uint16_t number = 1;
    const char* end = port.data() + port.size();
    if (port.empty()) continue;
    const auto [stop, error] = std::from_chars(port.data(), end, number);
    if (error != std::errc() || stop != end || number == 0) return false;
  }
  return true;
}

// The library's own message may quote the URI, and with it the password.
ExecResult malformed() {
  return makeFailure(LayerError::InvalidUrl, "the store URL is no valid postgresql:// URI");
}

}  // namespace

ExecResult makePostgresDriver(StoreUrl& url, const std::string&, std::shared_ptr<StoreDriver>& driver) {
  const std::string authority = url.location().substr(0, url.location().find('/', 2));
  // Of two signs the client library takes the first, and what follows in a password for a host.
  if (authority.rfind("//", 0) != 0 || authority.find('@') != authority.rfind('@')) return malformed();
  ExecResult result = checkOptions(url);
  if (!result.succeeded()) return result;
  const OptionList parsed(PQconninfoParse(rebuildUri(url).c_str(), nullptr), PQconninfoFree);
  if (!parsed) return malformed();

  PostgresSettings settings;
  for (const PQconninfoOption* option = parsed.get(); option->keyword != nullptr; ++option) {
    if (option->val != nullptr) settings.emplace(option->keyword, option->val);
  }
  if (settings.count("port") > 0 && !arePorts(settings["port"])) return malformed();
  // Texts travel as UTF-8 whatever the database keeps them in.
  settings["client_encoding"] = "UTF8";
  settings.emplace("fallback_application_name", "vorn");
  for (const auto& [name, value] : kDefaultLimits) {
    const bool chosen = name == kConnectTimeout && std::getenv("PGCONNECT_TIMEOUT") != nullptr;
    if (!chosen) settings.emplace(name, value);
  }
  driver = std::make_shared<PostgresDriver>(std::move(settings));
  return result;
}

PostgresDriver::PostgresDriver(PostgresSettings settings) : m_settings(std::move(settings)) {}

ExecResult PostgresDriver::open(std::unique_ptr<StoreConnection>& connection) {
  return PostgresConnection::open(m_settings, connection);
}

}  // namespace vorn
