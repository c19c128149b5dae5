#include "exec/adapters/sqlite/SqliteDriver.h"

#include <atomic>
#include <utility>

#include "common/ascii.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/sqlite/SqliteConnection.h"

namespace vorn {

namespace {

// A name of its own for every store, so that a database in memory is not met again after it was unbound.
std::string memoryUri(const std::string& sessionName) {
  static std::atomic<unsigned> serial{0};
  std::string uri = "file:/vorn-" + std::to_string(++serial) + "-";
  for (const char c : sessionName) {
    uri += ascii::isLetter(c) || ascii::isDigit(c) ? c : '_';
  }
  return uri + "?vfs=memdb";
}

ExecResult readLocation(const std::string& location, const std::string& sessionName,
                        SqliteSettings& settings) {
  if (location == ":memory:") {
    settings.file = memoryUri(sessionName);
    settings.isUri = true;
    settings.journalMode = "memory";
    settings.name = "sqlite::memory: (" + sessionName + ")";
    return {};
  }
  std::string path = location;
  if (path.rfind("//", 0) == 0) {
    if (path.size() < 3 || path[2] != '/') {
      return makeFailure(Failure::InvalidUrl,
                         "a sqlite URL names no host: write sqlite:/path or sqlite:path");
    }
    path.erase(0, 2);
  }
  ExecResult result = percentDecode(path, settings.file);
  if (result.succeeded() && settings.file.empty()) {
    result = makeFailure(Failure::InvalidUrl, "the sqlite URL names no file");
  }
  settings.name = "sqlite:" + settings.file;
  return result;
}

}  // namespace

ExecResult makeSqliteDriver(StoreUrl& url, const std::string& sessionName,
                            std::shared_ptr<StoreDriver>& driver) {
  SqliteSettings settings;
  ExecResult result = readLocation(url.location(), sessionName, settings);
  if (result.succeeded()) result = url.takeNumber("busy_timeout_ms", 0, 86400000, settings.busyTimeout);
  if (result.succeeded()) {
    result = url.takeWord("journal_mode", "wal delete truncate persist memory off", settings.journalMode);
  }
  if (result.succeeded()) result = url.takeWord("synchronous", "off normal full extra", settings.synchronous);
  if (result.succeeded()) result = url.refuseRest();
  if (result.succeeded()) driver = std::make_shared<SqliteDriver>(std::move(settings));
  return result;
}

SqliteDriver::SqliteDriver(SqliteSettings settings) : m_settings(std::move(settings)) {}

ExecResult SqliteDriver::open(std::unique_ptr<StoreConnection>& connection) {
  const std::lock_guard lock(m_mutex);
  if (m_settings.isUri && !m_anchor) {
    ExecResult result = SqliteConnection::open(m_settings, m_anchor);
    if (!result.succeeded()) return result;
  }
  return SqliteConnection::open(m_settings, connection);
}

void SqliteDriver::close() {
  const std::lock_guard lock(m_mutex);
  m_anchor.reset();
}

}  // namespace vorn
