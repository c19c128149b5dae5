#include "LibraryStore.h"

#include <barrier>
#include <stdexcept>

#include "Threads.h"
#include "vorn/platform/data_session.h"
#include "vorn/platform/stores.h"
#include "vorn/reader.h"

namespace bench {

void LibraryStore::check(unsigned long code) {
  if (code == 0) return;
  throw std::runtime_error(vorn::describeError(code) + ": " + vorn::lastResult().detail().value_or(""));
}

void LibraryStore::bind(const std::string& url) {
  check(vorn::bindStore("default", url).errorCode());
}

void LibraryStore::open(const Place& place) {
  const bool server = place.address.find("://") != std::string::npos;
  bind(server ? place.address : "sqlite:" + place.address + "?synchronous=" + place.synchronous);
  first("select 1");  // opens the connection
}

void LibraryStore::openConnections(std::size_t count) {
  std::barrier all(static_cast<std::ptrdiff_t>(count));
  runThreads(count, [&all](std::size_t) {
    CVORNsqlstr statement;
    statement.assign("select 1");
    CVORNReader holder;  // of the connection
    const unsigned long code = MIRAsqlDB(false).execReadSQL(statement, holder);
    all.arrive_and_wait();
    check(code);
  });
}

void LibraryStore::close() {
  vorn::unbindStores();
}

std::string LibraryStore::first(const std::string& sql) {
  m_statement.assign(sql);
  CVORNReader reader;
  query(m_statement, reader);
  std::string text;
  if (reader.hasNextElement()) reader >> text;
  return text;
}

void LibraryStore::execute(const std::string& text) {
  m_statement.assign(text);
  execute(m_statement);
}

void LibraryStore::readRows(const CVORNBase& statement, Checksum& checksum) {
  CVORNReader reader;
  query(statement, reader);
  while (reader.hasNextElement()) {
    reader >> m_row.id >> m_row.text >> m_row.level >> m_row.ratio;
    checksum.add(m_row);
  }
}

void LibraryStore::readRows(const std::string& text, Checksum& checksum) {
  m_statement.assign(text);
  readRows(m_statement, checksum);
}

}  // namespace bench
