#include <algorithm>
#include <cstdint>
#include <functional>
#include <random>
#include <thread>

#include "vorn/platform/data_session.h"
#include "vorn/transaction.h"

namespace vorn {

namespace {

struct Attempt {
  unsigned long code;
  bool isUndone;  ///< it is certain that nothing is stored
};

/// The random waits between the attempts of one call.
class Pauses {
 public:
  explicit Pauses(const RetryPolicy& policy)
      : m_longest(std::max<double>(0, static_cast<double>(policy.longestPause.count()))),
        m_factor(std::max(1.0, policy.pauseFactor)),
        m_next(std::max<double>(0, static_cast<double>(policy.firstPause.count()))),
        m_random(seed()) {}

  void sleep() {
    using Milliseconds = std::chrono::duration<double, std::milli>;
    m_next = std::min(m_next, m_longest);
    const double share = std::uniform_real_distribution<double>()(m_random);
    std::this_thread::sleep_for(
        std::chrono::duration_cast<std::chrono::microseconds>(Milliseconds(share * m_next)));
    m_next *= m_factor;
  }

 private:
  // Differs between the threads that have just met.
  static std::uint_fast32_t seed() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    return static_cast<std::uint_fast32_t>(std::hash<std::thread::id>()(std::this_thread::get_id()) ^
                                           static_cast<std::uint64_t>(now));
  }

  const double m_longest;  // milliseconds, as the next one
  const double m_factor;
  double m_next;
  std::minstd_rand m_random;
};

bool isRetried(const RetryPolicy& policy, unsigned long code) {
  return code != 0 && std::count(policy.classes.begin(), policy.classes.end(), errorClass(code)) > 0;
}

// A read that breaks off looks like its end to the work, which then returns 0.
unsigned long outcomeOf(const std::function<unsigned long(CVORN&)>& work, CVORN& db) {
  const unsigned long code = work(db);
  if (code != 0) return code;
  const std::uint64_t last = lastResult().errorCode();
  return errorClass(last) == ErrorClass::Retry ? last : 0;
}

Attempt commit(Transaction& transaction) {
  const unsigned long code = transaction.commit();
  // The answer is lost, or there was no transaction any more: the work may be stored.
  const ErrorClass outcome = errorClass(code);
  return {code, outcome != ErrorClass::ConnectionLost && outcome != ErrorClass::Refused};
}

Attempt run(CVORN& db, const std::function<unsigned long(CVORN&)>& work) {
  Transaction transaction(db);
  if (transaction.code() != 0) return {transaction.code(), true};
  const unsigned long code = outcomeOf(work, db);
  if (code == 0) return commit(transaction);
  const unsigned long undoing = transaction.rollback();
  // Refused: there was none any more, and who ended it may have committed it.
  if (errorClass(undoing) == ErrorClass::Refused) return {undoing, false};
  return {code, true};
}

}  // namespace

std::vector<ErrorClass> RetryPolicy::usualClasses() {
  return {ErrorClass::Retry};
}

unsigned long retryTransaction(CVORN& db, const std::function<unsigned long(CVORN&)>& work,
                               const RetryPolicy& policy) {
  Pauses pauses(policy);
  for (unsigned attempt = 1;; ++attempt) {
    const Attempt made = run(db, work);
    if (attempt >= policy.attempts || !made.isUndone || !isRetried(policy, made.code)) return made.code;
    pauses.sleep();
  }
}

}  // namespace vorn
