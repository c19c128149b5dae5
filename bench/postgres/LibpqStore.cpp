#include "postgres/LibpqStore.h"

#include <charconv>
#include <cstdlib>
#include <stdexcept>

namespace bench {

namespace {

template <typename Number>
void appendNumber(std::string& buffer, Number value, char end) {
  char digits[40];
  char* last = std::to_chars(digits, digits + 39, value).ptr;
  *last++ = end;
  buffer.append(digits, last);
}

void appendText(std::string& buffer, const std::string& value) {
  for (const char c : value) {
    switch (c) {
      case '\\':
        buffer += "\\\\";
        break;
      case '\n':
        buffer += "\\n";
        break;
      case '\r':
        buffer += "\\r";
        break;
      case '\t':
        buffer += "\\t";
        break;
      default:
        buffer += c;
    }
  }
  buffer += '\t';
}

}  // namespace

LibpqStore::LibpqStore(const std::string& url) : m_connection(PQconnectdb(url.c_str()), PQfinish) {
  if (PQstatus(connection()) != CONNECTION_OK) fail();
}

void LibpqStore::readOne(const std::string& sql, Checksum& checksum) {
  const Result result = expect(
      PQexecParams(connection(), sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0), PGRES_TUPLES_OK);
  addRow(result.get(), checksum);
}

void LibpqStore::readRows(const std::string& sql, Checksum& checksum) {
  if (PQsendQueryParams(connection(), sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0) != 1 ||
      PQsetSingleRowMode(connection()) != 1) {
    fail();
  }
  while (PGresult* result = PQgetResult(connection())) {
    if (PQresultStatus(result) == PGRES_SINGLE_TUPLE) addRow(result, checksum);
    PQclear(result);
  }
}

void LibpqStore::addRow(const PGresult* result, Checksum& checksum) {
  m_text.assign(PQgetvalue(result, 0, 1), static_cast<std::size_t>(PQgetlength(result, 0, 1)));
  checksum.add(std::strtol(PQgetvalue(result, 0, 0), nullptr, 10), m_text,
               static_cast<int>(std::strtol(PQgetvalue(result, 0, 2), nullptr, 10)),
               std::strtod(PQgetvalue(result, 0, 3), nullptr));
}

void LibpqStore::copy(const SampleRows& rows) {
  execute("copy sample (id, text, level, ratio) from stdin", PGRES_COPY_IN);
  std::string buffer;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    appendNumber(buffer, rows.ids[row], '\t');
    appendText(buffer, rows.texts[row]);
    appendNumber(buffer, rows.levels[row], '\t');
    appendNumber(buffer, rows.ratios[row], '\n');
    if (buffer.size() > 60000) flush(buffer);
  }
  flush(buffer);
  PQputCopyEnd(connection(), nullptr);
  expect(PQgetResult(connection()), PGRES_COMMAND_OK);
  PQclear(PQgetResult(connection()));
}

void LibpqStore::flush(std::string& buffer) {
  if (PQputCopyData(connection(), buffer.data(), static_cast<int>(buffer.size())) != 1) fail();
  buffer.clear();
}

LibpqStore::Result LibpqStore::expect(PGresult* result, ExecStatusType status) const {
  Result owner(result, PQclear);
  if (PQresultStatus(result) != status) fail();
  return owner;
}

void LibpqStore::fail() const {
  throw std::runtime_error(PQerrorMessage(m_connection.get()));
}

}  // namespace bench
