#include "exec/adapters/mariadb/MariaDbError.h"

#include <errmsg.h>
#include <mysqld_error.h>

#include <algorithm>
#include <iterator>

#include "common/ascii.h"
#include "exec/adapters/base/Failure.h"

namespace vorn {

namespace {

struct ClassOfErrors {
  std::uint32_t first;
  std::uint32_t last;
  ErrorClass errorClass;
};

constexpr ClassOfErrors one(std::uint32_t number, ErrorClass errorClass) {
  return {number, number, errorClass};
}

// The first entry that fits counts. A lock wait that took too long undoes its statement alone: the work has
// to be begun again, as after a deadlock. Of a conflict that the cluster finds when it certifies a
// transaction the server says that it was a deadlock.
constexpr ClassOfErrors kClasses[] = {
    one(ER_LOCK_DEADLOCK, ErrorClass::Retry),
    one(ER_LOCK_WAIT_TIMEOUT, ErrorClass::Retry),
    one(ER_XA_RBDEADLOCK, ErrorClass::Retry),
    one(ER_XA_RBTIMEOUT, ErrorClass::Retry),
    one(ER_CHECKREAD, ErrorClass::Retry),
    one(ER_NEED_REPREPARE, ErrorClass::Retry),
    one(ER_UNKNOWN_COM_ERROR, ErrorClass::Retry),  // the node is not ready

    one(ER_ERROR_DURING_COMMIT, ErrorClass::ConnectionLost),  // the node left its cluster: it may be stored
    one(ER_CONNECTION_KILLED, ErrorClass::ConnectionLost),
    one(ER_SERVER_SHUTDOWN, ErrorClass::ConnectionLost),
    one(ER_NORMAL_SHUTDOWN, ErrorClass::ConnectionLost),
    one(ER_FORCING_CLOSE, ErrorClass::ConnectionLost),
    one(ER_ABORTING_CONNECTION, ErrorClass::ConnectionLost),
    one(ER_NEW_ABORTING_CONNECTION, ErrorClass::ConnectionLost),
    one(ER_BAD_HOST_ERROR, ErrorClass::ConnectionLost),
    one(ER_HANDSHAKE_ERROR, ErrorClass::ConnectionLost),
    {ER_NET_READ_ERROR_FROM_PIPE, ER_NET_READ_ERROR_FROM_PIPE, ErrorClass::ConnectionLost},
    {ER_NET_FCNTL_ERROR, ER_NET_WRITE_INTERRUPTED, ErrorClass::ConnectionLost},
    {CR_SOCKET_CREATE_ERROR, CR_SERVER_GONE_ERROR, ErrorClass::ConnectionLost},
    {CR_SERVER_HANDSHAKE_ERR, CR_SERVER_LOST, ErrorClass::ConnectionLost},
    one(CR_SSL_CONNECTION_ERROR, ErrorClass::ConnectionLost),
    one(CR_MALFORMED_PACKET, ErrorClass::ConnectionLost),
    one(CR_SERVER_LOST_EXTENDED, ErrorClass::ConnectionLost),
    {CR_ERR_NET_READ, CR_ERR_NET_UNCOMPRESS, ErrorClass::ConnectionLost},

    one(ER_STATEMENT_TIMEOUT, ErrorClass::Timeout),
    one(ER_QUERY_INTERRUPTED, ErrorClass::Timeout),  // by a time limit as a rule

    one(ER_DUP_KEY, ErrorClass::Constraint),
    one(ER_BAD_NULL_ERROR, ErrorClass::Constraint),
    one(ER_DUP_ENTRY, ErrorClass::Constraint),
    one(ER_DUP_UNIQUE, ErrorClass::Constraint),
    one(ER_NO_REFERENCED_ROW, ErrorClass::Constraint),
    one(ER_ROW_IS_REFERENCED, ErrorClass::Constraint),
    one(ER_ROW_IS_REFERENCED_2, ErrorClass::Constraint),
    one(ER_NO_REFERENCED_ROW_2, ErrorClass::Constraint),
    one(ER_VIEW_CHECK_FAILED, ErrorClass::Constraint),
    one(ER_WARN_NULL_TO_NOTNULL, ErrorClass::Constraint),
    one(ER_NO_DEFAULT_FOR_FIELD, ErrorClass::Constraint),
    one(ER_DUP_ENTRY_WITH_KEY_NAME, ErrorClass::Constraint),
    one(ER_DUP_ENTRY_AUTOINCREMENT_CASE, ErrorClass::Constraint),
    one(ER_FOREIGN_DUPLICATE_KEY_WITHOUT_CHILD_INFO, ErrorClass::Constraint),
    one(ER_CONSTRAINT_FAILED, ErrorClass::Constraint),

    one(ER_DBACCESS_DENIED_ERROR, ErrorClass::Permission),
    one(ER_ACCESS_DENIED_ERROR, ErrorClass::Permission),
    one(ER_HOST_NOT_PRIVILEGED, ErrorClass::Permission),
    one(ER_HOST_IS_BLOCKED, ErrorClass::Permission),
    one(ER_TABLEACCESS_DENIED_ERROR, ErrorClass::Permission),
    one(ER_COLUMNACCESS_DENIED_ERROR, ErrorClass::Permission),
    one(ER_SPECIFIC_ACCESS_DENIED_ERROR, ErrorClass::Permission),
    one(ER_OPTION_PREVENTS_STATEMENT, ErrorClass::Permission),  // read_only
    one(ER_PROCACCESS_DENIED_ERROR, ErrorClass::Permission),
    one(ER_ACCESS_DENIED_NO_PASSWORD_ERROR, ErrorClass::Permission),
    one(ER_CANT_EXECUTE_IN_READ_ONLY_TRANSACTION, ErrorClass::Permission),
    one(ER_MUST_CHANGE_PASSWORD, ErrorClass::Permission),
    one(ER_MUST_CHANGE_PASSWORD_LOGIN, ErrorClass::Permission),
    one(ER_ACCOUNT_HAS_BEEN_LOCKED, ErrorClass::Permission),
    one(ER_OPEN_AS_READONLY, ErrorClass::Permission),
    {CR_AUTH_PLUGIN_CANNOT_LOAD, CR_AUTH_PLUGIN_ERR, ErrorClass::Permission},

    one(ER_DISK_FULL, ErrorClass::Resource),
    one(ER_OUTOFMEMORY, ErrorClass::Resource),
    one(ER_OUT_OF_SORTMEMORY, ErrorClass::Resource),
    one(ER_CON_COUNT_ERROR, ErrorClass::Resource),
    one(ER_OUT_OF_RESOURCES, ErrorClass::Resource),
    one(ER_RECORD_FILE_FULL, ErrorClass::Resource),
    one(ER_NET_PACKET_TOO_LARGE, ErrorClass::Resource),
    one(ER_TOO_MANY_USER_CONNECTIONS, ErrorClass::Resource),
    one(ER_LOCK_TABLE_FULL, ErrorClass::Resource),
    one(ER_USER_LIMIT_REACHED, ErrorClass::Resource),
    one(ER_TOO_MANY_CONCURRENT_TRXS, ErrorClass::Resource),
    one(ER_MAX_PREPARED_STMT_COUNT_REACHED, ErrorClass::Resource),
    one(ER_STACK_OVERRUN_NEED_MORE, ErrorClass::Resource),
    one(ER_ENGINE_OUT_OF_MEMORY, ErrorClass::Resource),
    one(CR_OUT_OF_MEMORY, ErrorClass::Resource),
    one(CR_NET_PACKET_TOO_LARGE, ErrorClass::Resource),

    one(ER_TRUNCATED_WRONG_VALUE, ErrorClass::Value),
    one(ER_WARN_DATA_OUT_OF_RANGE, ErrorClass::Value),
    one(WARN_DATA_TRUNCATED, ErrorClass::Value),
    one(ER_DIVISION_BY_ZERO, ErrorClass::Value),
    one(ER_TRUNCATED_WRONG_VALUE_FOR_FIELD, ErrorClass::Value),
    one(ER_ILLEGAL_VALUE_FOR_TYPE, ErrorClass::Value),
    one(ER_CANNOT_CONVERT_CHARACTER, ErrorClass::Value),
    one(ER_DATA_TOO_LONG, ErrorClass::Value),
    one(ER_WRONG_VALUE_FOR_TYPE, ErrorClass::Value),
    one(ER_DATA_OUT_OF_RANGE, ErrorClass::Value),
    one(ER_BAD_DATA, ErrorClass::Value),
    one(ER_INVALID_CHARACTER_STRING, ErrorClass::Value),
    one(ER_DATETIME_FUNCTION_OVERFLOW, ErrorClass::Value),

    // The statement: its text, its names, its place. What of these ranges is none of that stands above.
    {ER_DB_CREATE_EXISTS, ER_DB_DROP_EXISTS, ErrorClass::Statement},
    {ER_NO_DB_ERROR, ER_WRONG_AUTO_KEY, ErrorClass::Statement},
    {ER_NO_SUCH_INDEX, ER_BLOBS_AND_NO_TERMINATED, ErrorClass::Statement},
    {ER_WRONG_SUB_KEY, ER_CANT_DROP_FIELD_OR_KEY, ErrorClass::Statement},
    {ER_UPDATE_TABLE_USED, ER_TOO_BIG_SELECT, ErrorClass::Statement},
    {ER_UNKNOWN_PROCEDURE, ER_TABLE_MUST_HAVE_COLUMNS, ErrorClass::Statement},
    {ER_UNKNOWN_CHARACTER_SET, ER_TOO_BIG_ROWSIZE, ErrorClass::Statement},
    {ER_WRONG_OUTER_JOIN, ER_NULL_COLUMN_IN_INDEX, ErrorClass::Statement},
    one(ER_FUNCTION_NOT_DEFINED, ErrorClass::Statement),
    {ER_WRONG_VALUE_COUNT_ON_ROW, ER_SYNTAX_ERROR, ErrorClass::Statement},
    {ER_TABLE_CANT_HANDLE_BLOB, ER_CANT_DO_THIS_DURING_AN_TRANSACTION, ErrorClass::Statement},
    {ER_FT_MATCHING_KEY_NOT_FOUND, ER_UNKNOWN_SYSTEM_VARIABLE, ErrorClass::Statement},
    {ER_READ_ONLY_TRANSACTION, ER_WRONG_ARGUMENTS, ErrorClass::Statement},
    {ER_TABLE_CANT_HANDLE_FT, ER_CANNOT_ADD_FOREIGN, ErrorClass::Statement},
    {ER_WRONG_USAGE, ER_NOT_SUPPORTED_YET, ErrorClass::Statement},
    {ER_INCORRECT_GLOBAL_LOCAL_VAR, ER_TABLENAME_NOT_ALLOWED_HERE, ErrorClass::Statement},
    {ER_SPATIAL_CANT_HAVE_NULL, ER_COLLATION_CHARSET_MISMATCH, ErrorClass::Statement},
    {ER_CANT_AGGREGATE_2COLLATIONS, ER_UNKNOWN_COLLATION, ErrorClass::Statement},
    {ER_WRONG_NAME_FOR_INDEX, ER_BAD_FT_COLUMN, ErrorClass::Statement},
    {ER_UNKNOWN_STORAGE_ENGINE, ER_UNSUPPORTED_PS, ErrorClass::Statement},
    {ER_UNKNOWN_TIME_ZONE, ER_UNKNOWN_TIME_ZONE, ErrorClass::Statement},
    {ER_CONFLICTING_DECLARATIONS, ER_SP_CASE_NOT_FOUND, ErrorClass::Statement},
    {ER_VIEW_NO_EXPLAIN, ER_VIEW_NONUPD_CHECK, ErrorClass::Statement},
    {ER_PS_MANY_PARAM, ER_VIEW_DELETE_MERGE_VIEW, ErrorClass::Statement},
    {ER_XAER_NOTA, ER_XAER_INVAL, ErrorClass::Statement},
    one(ER_XAER_OUTSIDE, ErrorClass::Statement),
    {ER_SP_DUP_HANDLER, ER_SP_NO_RETSET, ErrorClass::Statement},
    {ER_COMMIT_NOT_ALLOWED_IN_SF_OR_TRG, ER_WRONG_LOCK_OF_SYSTEM_TABLE, ErrorClass::Statement},
    {ER_CANT_UPDATE_USED_TABLE_IN_SF_OR_TRG, ER_SP_CANT_SET_AUTOCOMMIT, ErrorClass::Statement},
    {ER_WRONG_STRING_LENGTH, ER_ILLEGAL_HA_CREATE_OPTION, ErrorClass::Statement},
    one(ER_CANT_CHANGE_TX_CHARACTERISTICS, ErrorClass::Statement),
    {ER_WRONG_PARAMCOUNT_TO_NATIVE_FCT, ER_WRONG_PARAMETERS_TO_STORED_FCT, ErrorClass::Statement},
    one(ER_FUNC_INEXISTENT_NAME_COLLISION, ErrorClass::Statement),
    {ER_UNKNOWN_SEQUENCES, ER_UNKNOWN_VIEW, ErrorClass::Statement},
};

bool isWord(std::string_view text) {
  return std::all_of(text.begin(), text.end(), ascii::isIdentifierByte);
}

// A message in which every quote holds a name.
bool quotesNamesOnly(std::uint32_t number) {
  constexpr std::uint32_t kNumbers[] = {ER_DBACCESS_DENIED_ERROR,
                                        ER_ACCESS_DENIED_ERROR,
                                        ER_BAD_NULL_ERROR,
                                        ER_BAD_DB_ERROR,
                                        ER_TABLE_EXISTS_ERROR,
                                        ER_BAD_TABLE_ERROR,
                                        ER_NON_UNIQ_ERROR,
                                        ER_BAD_FIELD_ERROR,
                                        ER_DUP_FIELDNAME,
                                        ER_DUP_KEYNAME,
                                        ER_NONUNIQ_TABLE,
                                        ER_KEY_COLUMN_DOES_NOT_EXIST,
                                        ER_UNKNOWN_TABLE,
                                        ER_FIELD_SPECIFIED_TWICE,
                                        ER_HOST_NOT_PRIVILEGED,
                                        ER_TABLEACCESS_DENIED_ERROR,
                                        ER_COLUMNACCESS_DENIED_ERROR,
                                        ER_NO_SUCH_TABLE,
                                        ER_WARN_DATA_OUT_OF_RANGE,
                                        WARN_DATA_TRUNCATED,
                                        ER_OPTION_PREVENTS_STATEMENT,
                                        ER_NO_DEFAULT_FOR_FIELD,
                                        ER_DATA_TOO_LONG,
                                        ER_NON_INSERTABLE_TABLE,
                                        ER_ACCESS_DENIED_NO_PASSWORD_ERROR};
  return std::find(std::begin(kNumbers), std::end(kNumbers), number) != std::end(kNumbers);
}

// Everything between the first quote and the last one before `end`: a value may hold quotes itself.
std::string withoutQuotedPart(const std::string& message, std::size_t end = std::string::npos) {
  const std::size_t open = message.find('\'');
  const std::size_t close = message.rfind('\'', end);
  if (open == std::string::npos || close == std::string::npos || close <= open)
    return message.substr(0, open);
  return message.substr(0, open + 1) + "..." + message.substr(close);
}

// The parser quotes the statement from where it stopped. Only a word that is no number stays.
std::string withoutStatementText(const std::string& message) {
  const std::size_t open = message.find('\'');
  const std::size_t close = message.rfind('\'');
  if (open == std::string::npos || close == open) return message.substr(0, open);
  std::string_view word = std::string_view(message).substr(open + 1, close - open - 1);
  word = word.substr(0, word.find_first_of(" \t\n("));
  if (word.empty() || ascii::isDigit(word[0]) || !isWord(word)) word = {};
  const bool whole = open + 1 + word.size() == close;
  return message.substr(0, open + 1).append(word).append(whole ? "" : "...") + message.substr(close);
}

std::string withoutValues(std::uint32_t number, const std::string& message) {
  if (number == ER_PARSE_ERROR) return withoutStatementText(message);
  if (number == ER_NO_PARTITION_FOR_GIVEN_VALUE) return message.substr(0, message.rfind(' ')) + " ...";
  if (number == ER_SIGNAL_EXCEPTION || quotesNamesOnly(number)) return message;
  // The key's name follows the value.
  return withoutQuotedPart(message, number == ER_DUP_ENTRY ? message.rfind(" for key '") : std::string::npos);
}

bool isClientError(std::uint32_t number) {
  return (number >= CR_MIN_ERROR && number <= CR_MAX_ERROR) ||
         (number >= CER_MIN_ERROR && number <= CER_MAX_ERROR);
}

}  // namespace

std::string describeMariaDbError(std::uint32_t number) {
  const std::string_view name = mariaDbErrorName(number);
  return std::to_string(number).append(name.empty() ? "" : " ").append(name);
}

ErrorClass classifyMariaDbError(std::uint32_t number) noexcept {
  for (const ClassOfErrors& known : kClasses) {
    if (known.first <= number && number <= known.last) return known.errorClass;
  }
  return ErrorClass::Other;
}

// The client library may fail without a number, as a rule for want of memory.
ExecResult mariaDbFailure(std::uint32_t number, const std::string& message) {
  if (number == 0) return makeFailure(Failure::ConnectionLost, "the client library has given up");
  if (number == CR_OUT_OF_MEMORY) return makeFailure(Failure::OutOfMemory, message);
  if (!isClientError(number))
    return makeFailure(ErrorFamily::MariaDb, number, withoutValues(number, message));
  if (classifyMariaDbError(number) == ErrorClass::ConnectionLost)
    return makeFailure(Failure::ConnectionLost, message);
  return makeFailure(ErrorFamily::MariaDb, number, message);
}

ExecResult mariaDbFailure(MYSQL* connection) {
  return mariaDbFailure(mysql_errno(connection), mysql_error(connection));
}

ExecResult mariaDbFailure(MYSQL_STMT* statement) {
  return mariaDbFailure(mysql_stmt_errno(statement), mysql_stmt_error(statement));
}

ExecResult mariaDbConnectFailure(std::uint32_t number, const std::string& message) {
  if (number == CR_OUT_OF_MEMORY) return makeFailure(Failure::OutOfMemory, message);
  return makeFailure(ErrorFamily::MariaDb, number, message);
}

ExecResult withoutForeignWord(const ExecResult& failure, const std::string& sql) {
  const std::string message = failure.detail().value_or("");
  const std::size_t open = message.find('\'') + 1;
  const std::size_t end = message.find_first_of("'.", open);
  if (open == 0 || end == message.npos) return failure;
  const std::string_view known = std::string_view(sql).substr(0, sql.find_first_of("'\""));
  if (known.find(std::string_view(message).substr(open, end - open)) != known.npos) return failure;
  return makeFailure(ErrorFamily::MariaDb, ER_PARSE_ERROR, withoutQuotedPart(message));
}

bool isMariaDbError(const ExecResult& result, std::uint32_t number) noexcept {
  return result.errorCode() == makeErrorCode(ErrorFamily::MariaDb, number);
}

bool isNodeNotReady(const ExecResult& failure) noexcept {
  return isMariaDbError(failure, ER_UNKNOWN_COM_ERROR);
}

}  // namespace vorn
