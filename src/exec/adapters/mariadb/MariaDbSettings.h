#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vorn {

/// Where a server listens.
struct MariaDbHost {
  std::string name;  ///< or an address
  std::uint16_t port = 3306;

  std::string text() const {
    const bool bracketed = name.find(':') != std::string::npos;
    return (bracketed ? "[" + name + "]:" : name + ":") + std::to_string(port);
  }
};

/// How the connections are encrypted. Empty texts are the client library's defaults.
struct MariaDbEncryption {
  bool required = false;      ///< no connection without it
  bool verifyServer = false;  ///< the server's certificate, and that it is made out to the host
  std::string ca, caFolder, certificate, key, cipher, revoked, revokedFolder, versions;
};

/// How the connections of one MariaDB store are made. Times are in seconds.
struct MariaDbSettings {
  std::vector<MariaDbHost> hosts;  ///< none where a socket is given
  std::string socket;              ///< a local server's, in place of the hosts
  std::string user;
  std::string password;
  std::string database;
  MariaDbEncryption encryption;
  bool randomHost = false;  ///< whether a connection begins with any of the hosts, and not with the first
  bool compress = false;
  std::uint32_t connectTimeout = 10;       ///< for each host
  std::uint32_t readTimeout = 0;           ///< for a wait for the server's answer, 0 for no limit
  std::uint32_t writeTimeout = 0;          ///< for a wait until the server takes more, 0 for no limit
  std::uint32_t preparedStatements = 100;  ///< kept for a connection at most
  std::uint32_t syncWait = 0;              ///< wsrep_sync_wait of the session, 0 for the server's default
};

}  // namespace vorn
