#pragma once

#include <mysql.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "vorn/platform/data_session.h"
#include "vorn/platform/stores.h"

namespace vorn {

/// @return the name of an error of the server or of the client library, such as "ER_DUP_ENTRY", or nothing
std::string_view mariaDbErrorName(std::uint32_t number) noexcept;

/// @return the number of an error and its name: "1062 ER_DUP_ENTRY"
std::string describeMariaDbError(std::uint32_t number);

/// @return what the number of an error asks of the caller
ErrorClass classifyMariaDbError(std::uint32_t number) noexcept;

/// @return a failure of the server, or of the client library in its place: its message on one line, without values
///         and without pieces of the statement's text. A connection that gave no answer is the layer's own
///         ConnectionLost, and a client library without memory is OutOfMemory.
ExecResult mariaDbFailure(std::uint32_t number, const std::string& message);
ExecResult mariaDbFailure(MYSQL* connection);
ExecResult mariaDbFailure(MYSQL_STMT* statement);

/// @return why a connection could not be made, always with MariaDB's number unless there was no memory
ExecResult mariaDbConnectFailure(std::uint32_t number, const std::string& message);

/// A word of a message of the parser stays only where it stands before the first quote of the statement: after that
/// it may belong to a value whose quotes do not match.
/// @param failure  of the parser
ExecResult withoutForeignWord(const ExecResult& failure, const std::string& sql);

/// @return whether a result is the failure of this number
bool isMariaDbError(const ExecResult& result, std::uint32_t number) noexcept;

/// @return whether a failure says that a node takes no statements for now, as it has no part in the primary component
///         of its cluster. Nothing of the statement was run; another node may take it.
bool isNodeNotReady(const ExecResult& failure) noexcept;

}  // namespace vorn
