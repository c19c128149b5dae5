#pragma once

#include <string>

namespace vorn {

/// @return whether a statement certainly is a query by its text: one that may be cancelled half way without
///         undoing anything
bool onlyReads(const std::string& sql);

/// @return an identifier as the server keeps it: without quotes, or in lower case
std::string foldIdentifier(const std::string& identifier);

}  // namespace vorn
