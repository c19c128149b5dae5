#include "vorn/sqlite_util.h"

#include <atomic>
#include <memory>

#include <ace/Guard_T.h>
#include <ace/Semaphore.h>

#include "vorn/platform/text.h"

namespace {

constinit std::atomic<bool> semaphoreIsUsable{false};

}  // namespace

// The order of the definitions below is the order of initialisation at load: the instance, the semaphore, the
// flag. Load-time code elsewhere may call getInstance() before any of it.
constinit CSQLiteUtil* CSQLiteUtil::m_instance = nullptr;

namespace {

[[maybe_unused]] const CSQLiteUtil* const instanceAtLoad = CSQLiteUtil::getInstance();

}  // namespace

ACE_Semaphore CSQLiteUtil::m_instanceMutex;

namespace {

[[maybe_unused]] const bool semaphoreAtLoad =
    (semaphoreIsUsable.store(true, std::memory_order_release), true);

}  // namespace

CSQLiteUtil* CSQLiteUtil::getInstance() {
  CSQLiteUtil* const existing = std::atomic_ref(m_instance).load(std::memory_order_acquire);
  if (existing != nullptr) return existing;
  // A semaphore that is not constructed yet can neither guard nor be waited for: then publish() alone
  // decides.
  if (!semaphoreIsUsable.load(std::memory_order_acquire)) return publish();
  const ACE_Guard<ACE_Semaphore> guard(m_instanceMutex);
  return publish();
}

CSQLiteUtil* CSQLiteUtil::publish() {
  std::atomic_ref instance(m_instance);
  CSQLiteUtil* existing = instance.load(std::memory_order_acquire);
  if (existing != nullptr) return existing;
  std::unique_ptr<CSQLiteUtil> created(new CSQLiteUtil);
  if (!instance.compare_exchange_strong(existing, created.get(), std::memory_order_acq_rel)) return existing;
  return created.release();
}

std::string CSQLiteUtil::replaceSpecialChar(const std::string& text) {
  return vorn::escapeSingleQuotes(text);
}

std::string CSQLiteUtil::replaceSpecialChar(const char& c) {
  if (c == '\'') return "''";
  return std::string(1, c);
}
