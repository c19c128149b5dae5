#include "mariadb/ConnectorStore.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace bench {

void ConnectorStore::open(const Place& place) {
  m_connection.reset(mysql_init(nullptr));
  mysql_options(m_connection.get(), MYSQL_SET_CHARSET_NAME, "utf8mb4");
  const std::string port = place.address.substr(place.address.rfind(':') + 1);
  if (mysql_real_connect(m_connection.get(), "127.0.0.1", "bench", "bench", "mysql",
                         static_cast<unsigned>(std::atoi(port.c_str())), nullptr, 0) == nullptr) {
    fail();
  }
  execute("set sql_mode = concat(@@sql_mode, ',PIPES_AS_CONCAT')");
}

void ConnectorStore::execute(const std::string& sql) {
  if (mysql_real_query(m_connection.get(), sql.data(), sql.size()) != 0) fail();
}

std::string ConnectorStore::first(const std::string& sql) {
  execute(sql);
  const std::unique_ptr<MYSQL_RES, Closer> result(mysql_store_result(m_connection.get()));
  const MYSQL_ROW row = result ? mysql_fetch_row(result.get()) : nullptr;
  return row == nullptr ? "" : row[0];
}

ConnectorStore::Statement ConnectorStore::prepare(const std::string& sql) {
  Statement statement(mysql_stmt_init(m_connection.get()));
  check(statement.get(), mysql_stmt_prepare(statement.get(), sql.data(), sql.size()));
  return statement;
}

void ConnectorStore::check(MYSQL_STMT* statement, int outcome) {
  if (outcome != 0) throw std::runtime_error(mysql_stmt_error(statement));
}

void ConnectorStore::readRows(const std::string& sql, Checksum& checksum) {
  execute(sql);
  const std::unique_ptr<MYSQL_RES, Closer> result(mysql_use_result(m_connection.get()));
  if (!result) fail();
  std::string text;
  while (const MYSQL_ROW row = mysql_fetch_row(result.get())) {
    text.assign(row[1], mysql_fetch_lengths(result.get())[1]);
    checksum.add(std::strtol(row[0], nullptr, 10), text, static_cast<int>(std::strtol(row[2], nullptr, 10)),
                 std::strtod(row[3], nullptr));
  }
  if (mysql_errno(m_connection.get()) != 0) fail();
}

void ConnectorStore::insert(const SampleRows& rows) {
  constexpr std::size_t kAtOnce = 10'000;
  const Statement statement = prepare("insert into sample (id,text,level,ratio) values(?,?,?,?)");
  std::vector<const char*> texts;
  std::vector<unsigned long> sizes;
  begin();
  for (std::size_t first = 0; first < rows.size(); first += kAtOnce) {
    const auto count = static_cast<unsigned>(std::min(kAtOnce, rows.size() - first));
    texts.clear();
    sizes.clear();
    for (std::size_t row = first; row < first + count; ++row) {
      texts.push_back(rows.texts[row].data());
      sizes.push_back(rows.texts[row].size());
    }
    MYSQL_BIND binds[4] = {};
    binds[0].buffer_type = binds[2].buffer_type = MYSQL_TYPE_LONGLONG;
    binds[0].buffer = const_cast<long*>(&rows.ids[first]);
    binds[1].buffer_type = MYSQL_TYPE_STRING;
    binds[1].buffer = texts.data();
    binds[1].length = sizes.data();
    binds[2].buffer = const_cast<long*>(&rows.levels[first]);
    binds[3].buffer_type = MYSQL_TYPE_DOUBLE;
    binds[3].buffer = const_cast<double*>(&rows.ratios[first]);
    mysql_stmt_attr_set(statement.get(), STMT_ATTR_ARRAY_SIZE, &count);
    check(statement.get(), mysql_stmt_bind_param(statement.get(), binds));
    check(statement.get(), mysql_stmt_execute(statement.get()));
  }
  commit();
}

void ConnectorStore::fail() {
  throw std::runtime_error(mysql_error(m_connection.get()));
}

ConnectorLookup::ConnectorLookup(ConnectorStore& store, const std::string& sql)
    : m_statement(store.prepare(sql)) {
  MYSQL_BIND key{};
  key.buffer_type = MYSQL_TYPE_LONGLONG;
  key.buffer = &m_key;
  MYSQL_BIND fields[4] = {};
  fields[0].buffer_type = MYSQL_TYPE_LONGLONG;
  fields[0].buffer = &m_row.id;
  fields[1].buffer_type = MYSQL_TYPE_STRING;
  fields[1].buffer = m_text;
  fields[1].buffer_length = sizeof m_text;
  fields[1].length = &m_size;
  fields[2].buffer_type = MYSQL_TYPE_LONG;
  fields[2].buffer = &m_row.level;
  fields[3].buffer_type = MYSQL_TYPE_DOUBLE;
  fields[3].buffer = &m_row.ratio;
  ConnectorStore::check(m_statement.get(), mysql_stmt_bind_param(m_statement.get(), &key));
  ConnectorStore::check(m_statement.get(), mysql_stmt_bind_result(m_statement.get(), fields));
}

void ConnectorLookup::run(long key, Checksum& checksum) {
  m_key = key;
  ConnectorStore::check(m_statement.get(), mysql_stmt_execute(m_statement.get()));
  while (mysql_stmt_fetch(m_statement.get()) == 0) {
    m_row.text.assign(m_text, m_size);
    checksum.add(m_row);
  }
  mysql_stmt_free_result(m_statement.get());
}

}  // namespace bench
