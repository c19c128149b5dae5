#include "exec/adapters/StoreTable.h"

#include <pthread.h>

#include <cstdlib>

#include "exec/adapters/DriverTable.h"
#include "exec/adapters/LayerError.h"
#include "exec/adapters/LogSinks.h"
#include "exec/adapters/StatementStatistics.h"
#include "vorn/platform/stores.h"

namespace vorn {

namespace {

std::string upperCase(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

std::string percentEncode(const std::string& path) {
  constexpr char kHex[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : path) {
    if (c == '%' || c == '?' || c == '#' || c == ' ' || static_cast<unsigned char>(c) >= 0x7f) {
      const auto byte = static_cast<unsigned char>(c);
      encoded.append({'%', kHex[byte >> 4], kHex[byte & 15]});
    } else {
      encoded += c;
    }
  }
  return encoded;
}

// The URL of a name that nobody bound.
ExecResult defaultUrl(const std::string& sessionName, std::string& url) {
  if (const char* configured = std::getenv(("VORN_STORE_" + upperCase(sessionName)).c_str())) {
    url = configured;
    return {};
  }
  if (sessionName.empty() || sessionName.find('/') != std::string::npos) {
    return makeFailure(
        LayerError::InvalidSessionName,
        "session name '" + sessionName + "' cannot name a database file and is bound to no store");
  }
  const char* directory = std::getenv("VORN_DATA_DIR");
  const std::string prefix = directory == nullptr || *directory == '\0' ? "" : std::string(directory) + "/";
  url = "sqlite:" + percentEncode(prefix + sessionName + ".db");
  return {};
}

ExecResult makePool(const std::string& sessionName, const std::string& text,
                    std::shared_ptr<ConnectionPool>& pool) {
  StoreUrl url;
  std::uint32_t size = 16;
  std::uint32_t timeout = 5000;
  std::shared_ptr<StoreDriver> driver;
  ExecResult result = StoreUrl::parse(text, url);
  if (result.succeeded()) result = url.takeNumber("pool_size", 1, 10000, size);
  if (result.succeeded()) result = url.takeNumber("acquire_timeout_ms", 0, 86400000, timeout);
  if (result.succeeded()) result = makeDriver(url, sessionName, driver);
  if (result.succeeded()) {
    const ConnectionPool::Limits limits{size, std::chrono::milliseconds(timeout)};
    pool = std::make_shared<ConnectionPool>(sessionName, std::move(driver), limits);
  }
  return result;
}

}  // namespace

std::atomic<std::uint32_t> StoreTable::s_forks{0};

StoreTable::StoreTable() {
  std::atexit(closeAtExit);
  pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);
}

// Never destroyed: threads may still run statements while the process ends.
StoreTable& StoreTable::instance() {
  static StoreTable* const table = new StoreTable;
  return *table;
}

ExecResult StoreTable::bind(const std::string& sessionName, const std::string& url) {
  std::shared_ptr<ConnectionPool> pool;
  ExecResult result = makePool(sessionName, url, pool);
  if (!result.succeeded()) return result;
  {
    const std::lock_guard lock(m_mutex);
    m_urls[sessionName] = url;
    m_pools[sessionName].swap(pool);
    m_generation.fetch_add(1, std::memory_order_release);
  }
  if (pool) pool->close();
  return result;
}

void StoreTable::unbindAll() {
  Pools pools;
  {
    const std::lock_guard lock(m_mutex);
    m_urls.clear();
    m_pools.swap(pools);
    m_generation.fetch_add(1, std::memory_order_release);
  }
  for (const auto& entry : pools) entry.second->close();
}

ExecResult StoreTable::find(const std::string& sessionName, std::shared_ptr<ConnectionPool>& pool) {
  const std::lock_guard lock(m_mutex);
  std::shared_ptr<ConnectionPool>& slot = m_pools[sessionName];
  ExecResult result;
  if (!slot) {
    std::string url;
    const auto bound = m_urls.find(sessionName);
    if (bound != m_urls.end()) {
      url = bound->second;
    } else {
      result = defaultUrl(sessionName, url);
    }
    if (result.succeeded()) result = makePool(sessionName, url, slot);
  }
  pool = slot;
  if (!pool) m_pools.erase(sessionName);
  return result;
}

void StoreTable::closeAtExit() {
  Pools pools;
  {
    const std::lock_guard lock(instance().m_mutex);
    pools = instance().m_pools;
  }
  for (const auto& entry : pools) entry.second->close();
}

void StoreTable::beforeFork() {
  instance().m_mutex.lock();
  for (const auto& entry : instance().m_pools) entry.second->prepareFork();
  lockStatementStatistics();
  lockLogSinks();
}

void StoreTable::afterForkInParent() {
  unlockLogSinks();
  unlockStatementStatistics();
  instance().m_mutex.unlock();
}

// The parent's pools are left behind as they are: their locks may be held by threads that do not exist here,
// and closing a connection would speak for the parent.
void StoreTable::afterForkInChild() {
  StoreTable& table = instance();
  static_cast<void>(new Pools(std::move(table.m_pools)));
  table.m_pools.clear();
  table.m_generation.fetch_add(1, std::memory_order_release);
  s_forks.fetch_add(1, std::memory_order_relaxed);
  afterForkInParent();
}

ExecResult bindStore(const std::string& sessionName, const std::string& url) {
  return StoreTable::instance().bind(sessionName, url);
}

void unbindStores() {
  StoreTable::instance().unbindAll();
}

}  // namespace vorn
