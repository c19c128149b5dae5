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

void LibpqStore::open(const Place& place) {
  m_connection.reset(PQconnectdb(place.address.c_str()));
  if (PQstatus(m_connection.get()) != CONNECTION_OK) fail();
}

std::string LibpqStore::first(const std::string& sql) {
  const Result result = expect(PQexec(m_connection.get(), sql.c_str()), PGRES_TUPLES_OK);
  return PQntuples(result.get()) > 0 ? PQgetvalue(result.get(), 0, 0) : "";
}

std::string LibpqStore::prepare(const std::string& sql) {
  std::string& name = m_prepared[sql];
  if (name.empty()) {
    name = std::to_string(m_prepared.size());
    expect(PQprepare(m_connection.get(), name.c_str(), sql.c_str(), 0, nullptr));
  }
  return name;
}

void LibpqStore::run(const std::string& name, const TextParameters& parameters, Checksum& checksum) {
  addRows(expect(PQexecPrepared(m_connection.get(), name.c_str(), parameters.count(), parameters.values(),
                                nullptr, nullptr, 0)),
          checksum);
}

void LibpqStore::readParsed(const std::string& sql, Checksum& checksum) {
  addRows(expect(PQexecParams(m_connection.get(), sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0)),
          checksum);
}

void LibpqStore::streamRows(const std::string& sql, Checksum& checksum) {
  PGconn* const connection = m_connection.get();
  if (PQsendQueryParams(connection, sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0) != 1 ||
      PQsetSingleRowMode(connection) != 1) {
    fail();
  }
  while (PGresult* result = PQgetResult(connection)) addRows(expect(result), checksum);
}

void LibpqStore::addRows(const Result& owner, Checksum& checksum) {
  const PGresult* const result = owner.get();
  for (int row = 0; row < PQntuples(result); ++row) {
    m_text.assign(PQgetvalue(result, row, 1), static_cast<std::size_t>(PQgetlength(result, row, 1)));
    checksum.add(std::strtol(PQgetvalue(result, row, 0), nullptr, 10), m_text,
                 static_cast<int>(std::strtol(PQgetvalue(result, row, 2), nullptr, 10)),
                 std::strtod(PQgetvalue(result, row, 3), nullptr));
  }
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
  PQputCopyEnd(m_connection.get(), nullptr);
  expect(PQgetResult(m_connection.get()), PGRES_COMMAND_OK);
  PQclear(PQgetResult(m_connection.get()));
}

void LibpqStore::flush(std::string& buffer) {
  if (PQputCopyData(m_connection.get(), buffer.data(), static_cast<int>(buffer.size())) != 1) fail();
  buffer.clear();
}

LibpqStore::Result LibpqStore::expect(PGresult* result, ExecStatusType status) const {
  Result owner(result);
  const ExecStatusType found = PQresultStatus(result);
  const bool succeeded = found == PGRES_COMMAND_OK || found == PGRES_TUPLES_OK || found == PGRES_SINGLE_TUPLE;
  if (status == PGRES_EMPTY_QUERY ? !succeeded : found != status) fail();
  return owner;
}

void LibpqStore::fail() const {
  throw std::runtime_error(PQerrorMessage(m_connection.get()));
}

}  // namespace bench
