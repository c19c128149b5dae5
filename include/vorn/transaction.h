#pragma once

#include <sys/types.h>

#include <chrono>
#include <vector>

#include "vorn/database.h"
#include "vorn/export.h"
#include "vorn/platform/std_parts.h"
#include "vorn/platform/stores.h"

namespace vorn {

/// A transaction that ends with a scope. The constructor begins it; whatever is not committed when the object
/// is destroyed is undone, by a return or an exception too.
///
/// It is the transaction of the session name and the thread, so everything that runs on this session name and
/// thread meanwhile takes part in it, through `db` or another object. It is ended by commit() or rollback(),
/// and not by the calls of CVORN or by a text: if the work inside ends it in such a way, commit() says so
/// with `vorn 9 NO_TRANSACTION`.
/// @code
///   vorn::Transaction transaction(*db);
///   if (transaction.code() != 0) return;  // nothing has begun
///   CVORNsqlstr statement;
///   statement.assign("delete from alarm where state = 'closed'");
///   if (db->execWriteSQL(statement) != 0) return;  // rolls back
///   statement.assign("update alarm set level = level - 1");
///   if (db->execWriteSQL(statement) != 0) return;
///   if (transaction.commit() != 0) std::cerr << vorn::describeError(transaction.code()) << '\n';
/// @endcode
///
/// Threads: the thread that created it. On another thread its calls are refused, and its destructor logs an
/// error line and leaves the transaction to the thread that began it.
///
/// Errors: as in CVORN. A failed commit is one information line of the log, since the rollback after it
/// replaces vorn::lastResult(). Where there is no memory to roll back in the destructor, an error line says
/// that the transaction is still open.
///
/// Requires: `db` lives longer than the object.
class VORN_API Transaction {
 public:
  /// Begins the transaction. A failure is in code(). Where a transaction was open on this thread before, that
  /// is `vorn 8 TRANSACTION_OPEN`: the open one stays as it is, and nothing that is done with this object
  /// ends it.
  explicit Transaction(CVORN& db);

  /// Rolls back if the transaction is open.
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  /// @return the outcome of the begin, and after commit() or rollback() have ended the transaction theirs
  unsigned long code() const noexcept { return m_code; }

  /// Commits. The transaction is over afterwards, whatever is returned: one that cannot be committed is
  /// rolled back.
  /// @return 0 when everything that was written in the transaction is stored. A code of the class
  ///         `ErrorClass::ConnectionLost` may mean that it is stored and that only the answer was lost; every
  ///         other failure means that nothing is stored, except `vorn 9 NO_TRANSACTION`: something else has
  ///         ended the transaction, and may have stored it. When it had not begun or was over: code(), or 1
  ///         if that is 0.
  unsigned long commit();

  /// Undoes everything that was written in the transaction, which is over afterwards.
  /// @return as CVORN::rollbackTransaction(). When it had not begun or was over: code(), or 1 if that is 0.
  unsigned long rollback();

 private:
  bool isOpenHere() const noexcept;
  unsigned long refuse() const;
  void undo() noexcept;

  CVORN& m_db;
  unsigned long m_code;
  bool m_isOpen;
  const pthread_t m_thread;
};

/// When retryTransaction() runs the work again, and how long it waits before that.
/// @code
///   vorn::RetryPolicy policy;
///   policy.attempts = 3;
///   policy.classes.push_back(vorn::ErrorClass::ConnectionLost);
/// @endcode
struct RetryPolicy {
  /// How often the work is begun at most, the first time included. 0 counts as 1.
  unsigned attempts = 12;

  /// The wait before the second attempt, and after each further one `pauseFactor` times as long, up to
  /// `longestPause`. The thread sleeps for a random time between nothing and that, so that threads that met
  /// once do not meet again. A factor below 1 counts as 1.
  std::chrono::milliseconds firstPause{4};
  std::chrono::milliseconds longestPause{1000};
  double pauseFactor = 2;

  /// The failures after which the work is run again. `ErrorClass::ConnectionLost` may be added for a store
  /// whose server is replaced by another one; it then counts for the begin and the work. It never counts for
  /// the commit: whoever gets no answer to a commit cannot know whether everything is stored already.
  std::vector<ErrorClass> classes = usualClasses();

  /// @return `ErrorClass::Retry` alone. Made in the library, so that callers need not compile it.
  VORN_API static std::vector<ErrorClass> usualClasses();
};

/// Runs `work` in a transaction and commits it; begins again from the start while the failure is one that the
/// policy names. That may be a failure of the begin, of the work or of the commit: every attempt before the
/// last one has been undone.
///
/// `work` gets `db` and returns 0 to have the transaction committed. It returns the code of the statement
/// that failed, or any number of its own but 0, to have everything undone. What may stand in it follows from
/// its being run several times, of which one counts:
/// - It reads what it decides on inside of the transaction, and not before.
/// - What it does elsewhere is not undone and is done once for each attempt: files, messages, statements on
///   another session name or thread. Do that after retryTransaction() has returned 0.
/// - Variables that it changes by reference are set at its beginning, and count only after 0 was returned.
/// - Its readers are its own and end with it. The rows of a reader that it keeps may be of an attempt that
///   was undone.
/// - A failed statement ends it, at once and with that code. If it returns 0 although the thread's last call
///   failed with `ErrorClass::Retry`, as where a read has broken off, the attempt counts as failed with that
///   code.
/// - It begins and ends no transaction, neither by a call nor by a text such as `commit`, nor by a statement
///   before which the store commits by itself.
/// - It does not wait for a thread that needs what the transaction has locked.
/// @code
///   const unsigned long code = vorn::retryTransaction(*db, [](CVORN& store) -> unsigned long {
///     CVORNsqlstr query;
///     query.assign("select max(level) from alarm");
///     CVORNReader reader;
///     const unsigned long failure = store.execReadSQL(query, reader);
///     if (failure != 0) return failure;
///     long highest = 0;
///     if (reader.hasNextElement()) reader >> highest;
///     CVORNUpdater updater;
///     updater.table("alarm");
///     updater["level"].assign(highest);
///     return store.execWriteSQL(updater);
///   });
///   if (code != 0) std::cerr << vorn::describeError(code) << '\n';
/// @endcode
/// @return 0 when the work of the last attempt is stored, once. Else the failure of the last attempt, of
///         which nothing is stored, with two exceptions. `vorn 9 NO_TRANSACTION`: the work has ended the
///         transaction itself, what it wrote before that may be stored, and it is not run again. A code of
///         the class `ErrorClass::ConnectionLost`: when it is that of the commit, it is unknown whether the
///         work is stored. `vorn 8 TRANSACTION_OPEN`: a transaction was open on this thread, which stays as
///         it is; the work was not run.
///
/// Threads: any thread; the work runs on the thread of the call.
///
/// Errors: an exception of the work passes through, after everything was rolled back. The failure is not in
/// vorn::lastResult(), which the rollback replaces, but in the log.
VORN_API unsigned long retryTransaction(CVORN& db, const std::function<unsigned long(CVORN&)>& work,
                                        const RetryPolicy& policy = {});

}  // namespace vorn
