#pragma once

#include <cstdint>
#include <string>

#include "vorn/platform/data_session.h"
#include "vorn/platform/stores.h"

struct sqlite3;

namespace vorn {

/// @return the failure that the connection's last call reported: its extended result code and its message,
///         without pieces of the statement's text. Without memory for the message the code stays.
ExecResult sqliteFailure(sqlite3* database) noexcept;

/// The same for a result code that did not come with a message.
ExecResult sqliteFailure(int extendedCode);

/// @return an extended result code and its name: "2067 SQLITE_CONSTRAINT_UNIQUE"
std::string describeSqliteError(std::uint32_t code);

/// @return what an extended result code asks of the caller
ErrorClass classifySqliteError(std::uint32_t code) noexcept;

}  // namespace vorn
