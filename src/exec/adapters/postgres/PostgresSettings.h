#pragma once

#include <map>
#include <string>

namespace vorn {

/// The client library's own connection keywords and their values.
using PostgresSettings = std::map<std::string, std::string>;

}  // namespace vorn
