#include "exec/adapters/postgres/PostgresError.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "exec/adapters/LayerError.h"

namespace vorn {

namespace {

constexpr std::size_t kStateLength = 5;
constexpr char kDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

constexpr char kSyntaxError[] = "42601";
constexpr char kWrongEncoding[] = "22021";  // quotes the encoding's name
constexpr char kCannotConnect[] = "08001";

bool isWord(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
  });
}

// From behind the first quotation mark to the last: the server quotes as its language does. Twice the end of
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
// up to the end of the statement; only a single word or sign stays. A data exception quotes the value.
std::string withoutStatementText(const std::string& message, bool isSyntaxError) {
  const auto [open, close] = quotedPart(message);
  if (open == close) return isSyntaxError ? message.substr(0, message.find('\'')) : message;
  const std::string token = message.substr(open, close - open);
  const bool isSign = token.size() <= 2 && token.find_first_of("'\"$") == std::string::npos;
  if (isSyntaxError && (isWord(token) || isSign)) return message;
  return message.substr(0, open) + "..." + message.substr(close);
}

// Where "ABCDE: " begins behind a severity and two blanks, as verbose messages have it; npos for nowhere. The
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

}  // namespace

std::uint32_t sqlStateNumber(const char* state) {
  std::uint32_t number = 0;
  for (std::size_t at = 0; at < kStateLength && state[at] != '\0'; ++at) {
    const char* digit = std::strchr(kDigits, state[at]);
    number = number * 36 + (digit == nullptr ? 0 : static_cast<std::uint32_t>(digit - kDigits));
  }
  return number;
}

std::string sqlStateText(std::uint32_t number) {
  std::string state(kStateLength, '0');
  for (std::size_t at = kStateLength; at-- > 0; number /= 36) state[at] = kDigits[number % 36];
  return state;
}

ExecResult postgresFailure(const char* state, const std::string& message) {
  return makeFailure(ErrorFamily::PostgreSql, sqlStateNumber(state), message);
}

ExecResult postgresFailure(const PGresult* result, const PGconn* connection) {
  if (result == nullptr) return postgresConnectionLost(connection);
  const char* state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  if (state == nullptr) return makeFailure(LayerError::ConnectionLost, PQresultErrorMessage(result));
  const char* primary = PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
  const std::string message = primary == nullptr ? PQresultErrorMessage(result) : primary;
  const bool isSyntaxError = std::strcmp(state, kSyntaxError) == 0;
  const bool isDataException = std::strncmp(state, "22", 2) == 0 && std::strcmp(state, kWrongEncoding) != 0;
  if (!isSyntaxError && !isDataException) return postgresFailure(state, message);
  // The one syntax error that is found behind the parser: several statements where one is allowed.
  const char* source = PQresultErrorField(result, PG_DIAG_SOURCE_FUNCTION);
  if (isSyntaxError && source != nullptr && std::strcmp(source, "exec_parse_message") == 0) {
    return makeFailure(LayerError::MultipleStatements, message);
  }
  return postgresFailure(state, withoutStatementText(message, isSyntaxError));
}

ExecResult postgresConnectionLost(const PGconn* connection) {
  return makeFailure(LayerError::ConnectionLost, PQerrorMessage(connection));
}

ExecResult postgresConnectFailure(const PGconn* connection) {
  const std::string message = PQerrorMessage(connection);
  const std::size_t state = stateInMessage(message);
  if (state == std::string::npos) return postgresFailure(kCannotConnect, message);
  const std::size_t text = state + kStateLength + 2;
  return postgresFailure(message.substr(state, kStateLength).c_str(),
                         message.substr(text, message.find('\n', text) - text));
}

}  // namespace vorn
