#include "exec/adapters/session/StoreTable.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

#include "common/NoDestructor.h"
#include "common/ascii.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/kinds/StoreKinds.h"

namespace vorn {

namespace {

std::string upperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), ascii::upperCase);
  return text;
}

std::string percentEncode(const std::string& path) {
  std::string encoded;
  for (const char c : path) {
    if (c == '%' || c == '?' || c == '#' || c == ' ' || static_cast<unsigned char>(c) >= 0x7f) {
      ascii::appendHex(encoded, "%", c);
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
        Failure::InvalidSessionName,
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
  if (result.succeeded()) result = StoreKinds::makeDriver(url, sessionName, driver);
  if (result.succeeded()) {
    const ConnectionPool::Limits limits{size, std::chrono::milliseconds(timeout)};
    pool = std::make_shared<ConnectionPool>(sessionName, std::move(driver), limits);
  }
  return result;
}

}  // namespace

StoreTable::StoreTable() {
  if (std::atexit(closeAtExit) != 0) throw std::bad_alloc();
}

// Threads may still run statements while the process ends, hence no destructor.
StoreTable& StoreTable::instance() {
  static NoDestructor<StoreTable> table;
  return *table;
}

StoreTable::Pools& StoreTable::pools() {
  if (!m_pools) m_pools.slot() = std::make_unique<Pools>();
  return *m_pools;
}

ExecResult StoreTable::bind(const std::string& sessionName, const std::string& url) {
  std::shared_ptr<ConnectionPool> pool;
  ExecResult result = makePool(sessionName, url, pool);
  if (!result.succeeded()) return result;
  {
    std::string bound = url;
    const std::lock_guard lock(m_mutex);
    // Whatever may fail comes first. A place without a pool is as none.
    std::shared_ptr<ConnectionPool>& place = pools()[sessionName];
    m_urls[sessionName].swap(bound);
    place.swap(pool);
    m_generation.fetch_add(1, std::memory_order_release);
  }
  if (pool) pool->close();
  return result;
}

void StoreTable::unbindAll() {
  std::unique_ptr<Pools> unbound;
  {
    const std::lock_guard lock(m_mutex);
    m_urls.clear();
    unbound = m_pools.take();
    m_generation.fetch_add(1, std::memory_order_release);
  }
  if (!unbound) return;
  for (const auto& entry : *unbound) {
    if (entry.second) entry.second->close();
  }
}

bool StoreTable::findMade(const std::string& sessionName, std::shared_ptr<ConnectionPool>& pool,
                          std::optional<std::string>& url, std::uint64_t& generation) {
  const std::lock_guard lock(m_mutex);
  if (const auto made = pools().find(sessionName); made != pools().end()) pool = made->second;
  if (const auto bound = m_urls.find(sessionName); bound != m_urls.end()) url = bound->second;
  generation = this->generation();
  return pool != nullptr;
}

// The pool is made without the lock: that may load a module, and the loader may run static constructors that
// use stores of their own.
ExecResult StoreTable::find(const std::string& sessionName, std::shared_ptr<ConnectionPool>& pool) {
  for (;;) {
    pool.reset();
    std::optional<std::string> url;
    std::uint64_t asked = 0;
    if (findMade(sessionName, pool, url, asked)) return {};
    ExecResult result;
    if (!url) result = defaultUrl(sessionName, url.emplace());
    std::shared_ptr<ConnectionPool> made;
    if (result.succeeded()) result = makePool(sessionName, *url, made);
    if (!result.succeeded()) return result;

    const std::lock_guard lock(m_mutex);
    if (generation() != asked) continue;
    std::shared_ptr<ConnectionPool>& place = pools()[sessionName];
    if (!place) place.swap(made);
    pool = place;
    return result;
  }
}

// What cannot be closed here for want of memory is closed by the end of the process.
void StoreTable::closeAtExit() noexcept {
  try {
    Pools open;
    {
      const std::lock_guard lock(instance().m_mutex);
      open = instance().pools();
    }
    for (const auto& entry : open) {
      if (entry.second) entry.second->close();
    }
  } catch (const std::bad_alloc&) {
    return;
  }
}

void StoreTable::closeIdleBeforeFork() noexcept {
  if (!m_pools) return;
  for (const auto& entry : *m_pools) {
    if (entry.second && entry.second->closesBeforeFork()) entry.second->closeIdle();
  }
}

void StoreTable::forgetParent() noexcept {
  m_pools.forgetInherited();
  m_generation.fetch_add(1, std::memory_order_release);
}

}  // namespace vorn
