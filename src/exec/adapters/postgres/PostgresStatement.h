#pragma once

#include <string>

namespace vorn {

/// What a statement that returns rows may lose when it ends before its last row.
enum class EarlyEnd : unsigned char {
  Harmless,  ///< it certainly is a query
  MayUndo,   ///< a query, but a function that it calls may write
  Undoes,    ///< it writes
};

/// @return what the text of a statement tells of its early end
EarlyEnd earlyEndOf(const std::string& sql);

/// @return whether the statement asks for the end of the transaction with everything kept
bool isCommit(const std::string& sql);

/// @return an identifier as the server keeps it: without quotes, or in lower case
std::string foldIdentifier(const std::string& identifier);

}  // namespace vorn
