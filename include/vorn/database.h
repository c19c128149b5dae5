#pragma once

#include <string>

#include "vorn/export.h"

class BatchInserter;
class CVORNBase;
class CVORNReader;

/// Runs statements on a store. Callers hold it by pointer, as a rule one that a GuardDB has created.
///
/// Each call opens a session of its own and closes that session before it returns; only a read leaves its
/// session with the reader. A transaction belongs to the session name and the calling thread, so every object
/// that uses this session name on this thread takes part in it.
/// @code
///   CVORNsqlstr purge;
///   purge.assign("delete from alarm where level = 0");
///   unsigned long code = db->beginTransaction();
///   if (code == 0) {
///     code = db->execWriteSQL(purge);
///     if (code == 0) code = db->commitTransaction();
///     if (code != 0) db->rollbackTransaction();
///   }
///   if (code != 0) std::cerr << vorn::describeError(code) << '\n';
/// @endcode
///
/// Threads: one thread at a time, unless the derived class says more.
///
/// Errors: every operation returns an error code. 0 is success, 1 is a refusal by the library itself (an
/// empty statement, a reader without a session, columns of different lengths), and every other code comes
/// from the data-access layer and is put into words by vorn::describeError(). Refusals and failed statements
/// are logged, failed transaction calls are not. Exceptions of the statement and of memory allocation pass
/// through.
class VORN_API CVORN {
 public:
  /// Begins a transaction. It is open until commitTransaction() or rollbackTransaction() ends it; the end of
  /// the thread rolls it back.
  /// @return 0 when the transaction is open; `vorn 8 TRANSACTION_OPEN` when one was open before, which stays
  ///         open
  virtual unsigned long beginTransaction() = 0;

  /// Commits the open transaction.
  /// @return 0 when everything that was written in the transaction is stored; `vorn 9 NO_TRANSACTION` when no
  ///         transaction was open; `vorn 10 TRANSACTION_LOST` when the store had ended the transaction by
  ///         itself, so that nothing is stored. After another failure the transaction may still be open, as
  ///         where the store was busy: commit it again, or roll it back.
  virtual unsigned long commitTransaction() = 0;

  /// Undoes everything that was written in the open transaction. No transaction is open afterwards, whatever
  /// is returned.
  /// @return 0 when the transaction was undone, by this call or before by the store itself;
  ///         `vorn 9 NO_TRANSACTION` when no transaction was open
  virtual unsigned long rollbackTransaction() = 0;

  /// Runs a query, whose rows are then taken from `reader`.
  /// @return 0 also when the query has no rows
  ///
  /// Requires: a reader that has served another query was cleared.
  virtual unsigned long execReadSQL(const CVORNBase& statement, CVORNReader& reader) = 0;

  /// Runs a statement to its end. Rows that the statement returns are dropped.
  /// @return 0 also when the statement changed no row
  virtual unsigned long execWriteSQL(const CVORNBase& statement) = 0;

  /// Inserts all rows of a batch, or none. The batch is only read and keeps its values, which are not copied.
  /// @return 0 also for a batch without columns, for which nothing is run; 1 when the columns differ in
  ///         length
  virtual unsigned long ExecBatchInserter(const BatchInserter& batch) = 0;

  // The destructor comes after the operations: the order is part of the binary interface.
  virtual ~CVORN();
};

/// The database over the platform's data-access layer.
/// @code
///   MIRAsqlDB database(false);
///   CVORNsqlstr statement;
///   statement.assign("update alarm set level = 0");
///   if (database.execWriteSQL(statement) != 0) std::cerr << "no alarm was changed\n";
/// @endcode
///
/// Threads: threads may share an object, which has no state but the choice of the session name.
class VORN_API MIRAsqlDB : public CVORN {
 public:
  /// Opens nothing: a store that cannot be opened is reported by the first call that needs it.
  /// @param useProcessSessionName  false: the session name is "default". true: the session name depends on
  ///        the process; it is "NeBackupDB" in the two backup processes (whose identifiers have 4073 or 4222
  ///        in their low 16 bits), and "NeUpgradeDB" in every other process.
  explicit MIRAsqlDB(bool useProcessSessionName);

  unsigned long beginTransaction() override;
  unsigned long commitTransaction() override;
  unsigned long rollbackTransaction() override;
  unsigned long execReadSQL(const CVORNBase& statement, CVORNReader& reader) override;
  unsigned long execWriteSQL(const CVORNBase& statement) override;
  unsigned long ExecBatchInserter(const BatchInserter& batch) override;
  ~MIRAsqlDB() override;

 private:
  const char* sessionName() const;

  bool m_useProcessSessionName;
};

/// Creates a database object and destroys it at the end of a scope.
/// @code
///   #include <vorn/vorn.h>
///
///   unsigned long runOnDefaultStore(const CVORNBase& statement) {
///     CVORN* db = nullptr;
///     GuardDB guard(vorn::kTaskDB, db, false);
///     return db->execWriteSQL(statement);
///   }
/// @endcode
class VORN_API GuardDB {
 public:
  /// @param name  says to the reader of the code which store is meant; the flag alone decides the session
  ///              name
  /// @param db    receives a pointer to the object, which the guard owns. The pointer dangles once the guard
  ///              is destroyed: it is not set to null.
  /// @param useProcessSessionName  see MIRAsqlDB
  GuardDB(const std::string& name, CVORN*& db, bool useProcessSessionName);
  ~GuardDB();
  GuardDB(const GuardDB&) = delete;
  GuardDB& operator=(const GuardDB&) = delete;

 private:
  CVORN* m_db;
};
