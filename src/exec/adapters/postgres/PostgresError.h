#pragma once

#include <libpq-fe.h>

#include <cstdint>
#include <string>

#include "vorn/platform/data_session.h"
#include "vorn/platform/stores.h"

namespace vorn {

/// @return the number that stands for an SQLSTATE: its five characters (0-9, A-Z) read in base 36
std::uint32_t sqlStateNumber(const char* state);

/// @return the name of an SQLSTATE, such as "unique_violation", or null
const char* sqlStateName(const std::string& state);

/// @return the SQLSTATE of a number made by sqlStateNumber(), and its name: "23505 unique_violation"
std::string describePostgresError(std::uint32_t number);

/// @return what the SQLSTATE of a number asks of the caller
ErrorClass classifyPostgresError(std::uint32_t number) noexcept;

/// @return a failure with an SQLSTATE
ExecResult postgresFailure(const char* state, const std::string& message);

/// @return the failure that the server, or the client library in its place, reported: its SQLSTATE and its
///         primary message, without pieces of the statement's text. A failure without an SQLSTATE is a lost
///         connection.
/// @param result  null where there was no answer at all
ExecResult postgresFailure(const PGresult* result, const PGconn* connection);

/// @return the failure of a connection that gave no answer
ExecResult postgresConnectionLost(const PGconn* connection);

/// @return why a connection could not be made: the server's SQLSTATE if it spoke, which needs the message in
///         its verbose form, else 08001
ExecResult postgresConnectFailure(const PGconn* connection);

}  // namespace vorn
