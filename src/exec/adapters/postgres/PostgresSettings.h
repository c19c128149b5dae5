#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace vorn {

/// The client library's own connection keywords and their values.
using PostgresKeywords = std::map<std::string, std::string>;

/// The statements that are kept prepared for a connection when the URL says nothing.
inline constexpr std::uint32_t kPreparedStatements = 100;

/// How the connections of one PostgreSQL store are made.
struct PostgresSettings {
  PostgresKeywords keywords;
  /// Whether a session is reset after every use, and not only where a text shows why.
  bool alwaysReset = false;
  std::uint32_t preparedStatements = kPreparedStatements;  ///< at most, for one connection
  /// Whether prepared statements last, as they do not behind some poolers. Shared by the store's connections.
  std::shared_ptr<std::atomic<bool>> statementsLast = std::make_shared<std::atomic<bool>>(true);
};

}  // namespace vorn
