#pragma once

#include <map>
#include <string>

namespace vorn {

/// The client library's own connection keywords and their values.
using PostgresKeywords = std::map<std::string, std::string>;

/// How the connections of one PostgreSQL store are made.
struct PostgresSettings {
  PostgresKeywords keywords;
  bool alwaysReset =
      false;  ///< whether a session is reset after every use, and not only where a text shows why
};

}  // namespace vorn
