#include "exec/adapters/postgres/PostgresError.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>

#include "common/ascii.h"
#include "exec/adapters/base/Failure.h"

namespace vorn {

namespace {

constexpr std::size_t kStateLength = 5;
constexpr char kDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

constexpr char kSyntaxError[] = "42601";
constexpr char kWrongEncoding[] = "22021";  // quotes the encoding's name
constexpr char kCannotConnect[] = "08001";

using SqlState = std::array<char, kStateLength + 1>;

SqlState sqlStateOf(std::uint32_t number) noexcept {
  SqlState state{};
  for (std::size_t at = kStateLength; at-- > 0; number /= 36) state[at] = kDigits[number % 36];
  return state;
}

// States and classes of states; the first entry that fits counts.
constexpr std::pair<std::string_view, ErrorClass> kStateClasses[] = {
    {"00", ErrorClass::Success},
    {"25006", ErrorClass::Permission},      // read_only_sql_transaction
    {"25P03", ErrorClass::ConnectionLost},  // idle_in_transaction_session_timeout
    {"40001", ErrorClass::Retry},           // serialization_failure
    {"40002", ErrorClass::Constraint},
    {"40003", ErrorClass::ConnectionLost},  // statement_completion_unknown
    {"40P01", ErrorClass::Retry},           // deadlock_detected
    {"42501", ErrorClass::Permission},      // insufficient_privilege
    {"54001", ErrorClass::Statement},       // statement_too_complex
    {"55006", ErrorClass::Retry},           // object_in_use
    {"55P03", ErrorClass::Retry},           // lock_not_available
    {"57014", ErrorClass::Timeout},         // query_canceled, by a time limit as a rule
    {"57P", ErrorClass::ConnectionLost},
    {"08", ErrorClass::ConnectionLost},
    {"0A", ErrorClass::Statement},
    {"21", ErrorClass::Statement},
    {"22", ErrorClass::Value},
    {"23", ErrorClass::Constraint},
    {"25", ErrorClass::Statement},
    {"26", ErrorClass::Statement},
    {"28", ErrorClass::Permission},
    {"3B", ErrorClass::Statement},
    {"3D", ErrorClass::Statement},
    {"3F", ErrorClass::Statement},
    {"42", ErrorClass::Statement},
    {"44", ErrorClass::Constraint},
    {"53", ErrorClass::Resource},
    {"54", ErrorClass::Resource},
};

bool isWord(const std::string& text) {
  return std::all_of(text.begin(), text.end(), ascii::isIdentifierByte);
}

// From after the first quotation mark to the last: the server quotes as its language does. Twice the end of
// the message where there are none.
std::pair<std::size_t, std::size_t> quotedPart(const std::string& message) {
  std::size_t open = message.size();
  std::size_t close = 0;
  for (const std::string_view mark : {"\"", "«", "»", "„", "“", "”", "‚", "‘", "’", "「", "」", "『", "』"}) {
    const std::size_t first = message.find(mark);
    if (first == std::string::npos) continue;
    open = std::min(open, first + mark.size());
    close = std::max(close, message.rfind(mark));
  }
  return close < open ? std::pair(message.size(), message.size()) : std::pair(open, close);
}

// A syntax error quotes the text at which the parser stopped, which may be a literal, and an unfinished one
// up to the end of the statement; only a single word or sign stays.
std::string withoutStatementText(const std::string& message) {
  const auto [open, close] = quotedPart(message);
  if (open == close) return message.substr(0, message.find('\''));
  const std::string token = message.substr(open, close - open);
  const bool isSign = token.size() <= 2 && token.find_first_of("'\"$") == std::string::npos;
  if (isWord(token) || isSign) return message;
  return message.substr(0, open) + "..." + message.substr(close);
}

std::string withoutQuotedPart(const std::string& message) {
  const auto [open, close] = quotedPart(message);
  return open == close ? message : message.substr(0, open) + "..." + message.substr(close);
}

// The length of a type, as in varchar(5), may stay.
bool isTypeLength(const std::string& message, std::size_t at) {
  const std::size_t before = message.find_last_not_of("0123456789,", at == 0 ? 0 : at - 1);
  return at > 0 && before != std::string::npos && before > 0 && message[before] == '(' &&
         isWord(std::string(1, message[before - 1]));
}

// A message about a value shows it in quotes, after a colon, or as a bare number.
std::string withoutValues(const std::string& message) {
  const std::string unquoted = withoutQuotedPart(message);
  std::string clean;
  for (std::size_t at = 0; at < unquoted.size();) {
    const bool startsNumber =
        ascii::isDigit(unquoted[at]) && (at == 0 || !isWord(std::string(1, unquoted[at - 1])));
    if (startsNumber && !isTypeLength(unquoted, at)) {
      at = std::min(unquoted.find_first_not_of("0123456789.eE+-", at), unquoted.size());
      clean += "...";
    } else if (unquoted.compare(at, 2, ": ") == 0 && unquoted.find("...", at) == std::string::npos) {
      return clean + ": ...";
    } else {
      clean += unquoted[at++];
    }
  }
  return clean;
}

// Where the server looks a name up that was a value: in a cast to regclass and its like.
bool looksUpValue(const char* source) {
  constexpr std::string_view kPlaces[] = {
      "RangeVarGetRelidExtended", "get_role_oid",    "get_namespace_oid", "get_collation_oid",
      "get_ts_config_oid",        "get_ts_dict_oid", "get_database_oid",  "parseTypeString"};
  const std::string_view place = source == nullptr ? "" : source;
  return place.substr(0, 3) == "reg" ||
         std::find(std::begin(kPlaces), std::end(kPlaces), place) != std::end(kPlaces);
}

// Data exceptions, and limits of the server that a value passed.
bool isAboutValue(std::string_view state) {
  return (state.substr(0, 2) == "22" && state != kWrongEncoding) || state.substr(0, 2) == "54";
}

// Where "ABCDE: " begins after a severity and two blanks, as verbose messages have it; npos for nowhere. The
// last one counts: it is of the last host that was tried.
std::size_t stateInMessage(const std::string& message) {
  for (std::size_t at = message.rfind(":  "); at != std::string::npos && at > 0;
       at = message.rfind(":  ", at - 1)) {
    const std::size_t state = at + 3;
    if (message.find_first_not_of(kDigits, state) == state + kStateLength &&
        message.compare(state + kStateLength, 2, ": ") == 0) {
      return state;
    }
  }
  return std::string::npos;
}

// What the client library reports in the server's place.
ExecResult clientFailure(const std::string& message) {
  const bool noMemory = message.find("out of memory") != std::string::npos;
  return makeFailure(noMemory ? Failure::OutOfMemory : Failure::ConnectionLost, message);
}

}  // namespace

std::uint32_t sqlStateNumber(const char* state) {
  std::uint32_t number = 0;
  for (std::size_t at = 0; at < kStateLength && state[at] != '\0'; ++at) {
    const char* digit = std::strchr(kDigits, state[at]);
    number = number * 36 + (digit == nullptr ? 0 : static_cast<std::uint32_t>(digit - kDigits));
  }
  return number;
}

std::string describePostgresError(std::uint32_t number) {
  const SqlState state = sqlStateOf(number);
  const char* const name = sqlStateName(state.data());
  return std::string(state.data()) + (name == nullptr ? "" : std::string(" ") + name);
}

ErrorClass classifyPostgresError(std::uint32_t number) noexcept {
  const SqlState state = sqlStateOf(number);
  const std::string_view text = state.data();
  for (const auto& [prefix, errorClass] : kStateClasses) {
    if (text.substr(0, prefix.size()) == prefix) return errorClass;
  }
  return ErrorClass::Other;
}

ExecResult postgresFailure(const char* state, const std::string& message) {
  return makeFailure(ErrorFamily::PostgreSql, sqlStateNumber(state), message);
}

ExecResult postgresFailure(const PGresult* result, const PGconn* connection) {
  if (result == nullptr) return postgresConnectionLost(connection);
  const char* state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  const char* primary = PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
  const std::string message = primary == nullptr ? PQresultErrorMessage(result) : primary;
  if (state == nullptr) return clientFailure(message);
  const char* source = PQresultErrorField(result, PG_DIAG_SOURCE_FUNCTION);
  if (isAboutValue(state)) return postgresFailure(state, withoutValues(message));
  if (looksUpValue(source)) return postgresFailure(state, withoutQuotedPart(message));
  if (std::strcmp(state, kSyntaxError) != 0) return postgresFailure(state, message);
  // The one syntax error that is found after parsing: several statements where one is allowed.
  if (source != nullptr && std::strcmp(source, "exec_parse_message") == 0) {
    return makeFailure(Failure::MultipleStatements,
                       "the text goes on after its first statement; nothing was run");
  }
  return postgresFailure(state, withoutStatementText(message));
}

ExecResult postgresConnectionLost(const PGconn* connection) {
  return makeFailure(Failure::ConnectionLost, PQerrorMessage(connection));
}

ExecResult postgresConnectFailure(const PGconn* connection) {
  const std::string message = PQerrorMessage(connection);
  const std::size_t state = stateInMessage(message);
  if (state == std::string::npos) return postgresFailure(kCannotConnect, message);
  const std::size_t begin = state + kStateLength + 2;
  const std::string text = message.substr(begin, message.find('\n', begin) - begin);
  const std::string code = message.substr(state, kStateLength);
  return postgresFailure(code.c_str(), isAboutValue(code) ? withoutValues(text) : text);
}

}  // namespace vorn
