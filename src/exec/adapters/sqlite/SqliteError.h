#pragma once

#include "vorn/platform/data_session.h"

struct sqlite3;

namespace vorn {

/// @return the failure that the connection's last call reported: its extended result code and its message,
///         without pieces of the statement's text. Without memory for the message the code stays.
ExecResult sqliteFailure(sqlite3* database) noexcept;

/// The same for a result code that did not come with a message.
ExecResult sqliteFailure(int extendedCode);

/// @return the name of an extended result code, such as "SQLITE_CONSTRAINT_UNIQUE", or null
const char* sqliteErrorName(std::uint32_t code);

}  // namespace vorn
