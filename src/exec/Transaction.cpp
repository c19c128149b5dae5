#include <pthread.h>

#include <string>

#include "common/log_line.h"
#include "vorn/platform/data_session.h"
#include "vorn/platform/logging.h"
#include "vorn/transaction.h"

namespace vorn {

namespace {

constexpr unsigned long kRefused = 1;

void logFailedCommit(unsigned long code) noexcept {
  try {
    const ExecResult& last = lastResult();
    std::string line = "the commit failed: " + describeError(code);
    if (last.errorCode() == code) line.append(": ").append(last.detail().value_or(""));
    Logger::info(taggedLine(line), {"Transaction", "commit", __LINE__});
  } catch (...) {
    // Without memory for the line the failure is known by its code alone.
    return;
  }
}

void logStillOpen(const char* why) noexcept {
  try {
    Logger::error(kRefused, taggedLine(std::string("a transaction stays open: ") + why),
                  {"Transaction", "~Transaction", __LINE__});
  } catch (...) {
    // The next begin on this thread finds the transaction open and says so.
    return;
  }
}

}  // namespace

// Invariant: m_isOpen says that the constructor has begun a transaction that no call of this object has
// ended. The session's transaction is ended only while that holds, and only on the thread that it belongs to.

Transaction::Transaction(CVORN& db)
    : m_db(db), m_code(db.beginTransaction()), m_isOpen(m_code == 0), m_thread(pthread_self()) {}

Transaction::~Transaction() {
  if (isOpenHere()) {
    undo();
  } else if (m_isOpen) {
    logStillOpen("it was left to a thread that did not begin it");
  }
}

bool Transaction::isOpenHere() const noexcept {
  return m_isOpen && pthread_equal(m_thread, pthread_self()) != 0;
}

unsigned long Transaction::refuse() const {
  if (m_code != 0) return m_code;
  Logger::error(kRefused, taggedLine("the transaction is over, or that of another thread"),
                {"Transaction", "refuse", __LINE__});
  return kRefused;
}

// Nothing is thrown, so that what came before stays the outcome. The destructor tries once more.
void Transaction::undo() noexcept {
  try {
    m_db.rollbackTransaction();
    m_isOpen = false;
  } catch (...) {
    logStillOpen("its rollback threw");
  }
}

unsigned long Transaction::commit() {
  if (!isOpenHere()) return refuse();
  m_code = m_db.commitTransaction();
  if (m_code == 0) {
    m_isOpen = false;
    return m_code;
  }
  logFailedCommit(m_code);
  undo();
  return m_code;
}

unsigned long Transaction::rollback() {
  if (!isOpenHere()) return refuse();
  m_code = m_db.rollbackTransaction();
  m_isOpen = false;
  return m_code;
}

}  // namespace vorn
