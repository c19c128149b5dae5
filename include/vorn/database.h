#pragma once

#include <string>

#include "vorn/export.h"

class BatchInserter;
class CVORNBase;
class CVORNReader;

/// Runs statements on a store. Callers hold it by pointer, as a rule through a GuardDB.
///
/// Every operation returns an error code: 0 for success, 1 for a refusal by the library itself (empty
/// statement, reader without a session, columns of different lengths), otherwise the code of the data-access
/// layer, see vorn::describeError(). Refusals and failed statements are logged, failed transaction calls are
/// not. Exceptions of the statement and of memory allocation pass through.
///
/// Each call opens a session of its own and closes it before it returns; a read leaves its session with the
/// reader. A transaction belongs to the session name and the calling thread.
/// @code
///   CVORNsqlstr purge;
///   purge.assign("delete from alarm where level = 0");
///   if (db->beginTransaction() == 0) {
///     const unsigned long code = db->execWriteSQL(purge);
///     code == 0 ? db->commitTransaction() : db->rollbackTransaction();
///   }
/// @endcode
class VORN_API CVORN {
 public:
  virtual unsigned long beginTransaction() = 0;
  virtual unsigned long commitTransaction() = 0;
  virtual unsigned long rollbackTransaction() = 0;

  /// Runs a query whose rows are then taken from `reader`. Clear a reader that has served another query
  /// first.
  virtual unsigned long execReadSQL(const CVORNBase& statement, CVORNReader& reader) = 0;

  /// Runs a statement that returns no rows.
  virtual unsigned long execWriteSQL(const CVORNBase& statement) = 0;

  /// Inserts all rows of a batch, or none. The batch is only read and keeps its values.
  ///
  /// Needs no memory for the values beside the batch's own.
  /// @return 0 also for a batch without columns, which runs nothing; 1 when the columns differ in length
  virtual unsigned long ExecBatchInserter(const BatchInserter& batch) = 0;

  // The destructor comes after the operations: the order is part of the binary interface.
  virtual ~CVORN();
};

/// The database over the platform's data-access layer.
///
/// Has no state but the choice of the session name, so threads may share an object.
class VORN_API MIRAsqlDB : public CVORN {
 public:
  /// Opens nothing.
  /// @param useProcessSessionName  false: sessions are named "default". true: the name depends on the
  /// process,
  ///        "NeBackupDB" in the two backup processes (low 16 bits of the identifier 4073 or 4222), else
  ///        "NeUpgradeDB".
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

/// Creates a database object for a scope.
/// @code
///   CVORN* db = nullptr;
///   GuardDB guard(vorn::kTaskDB, db, false);
///   db->execWriteSQL(inserter);
/// @endcode
/// `db` points to the object until the guard is gone, and is not reset then.
class VORN_API GuardDB {
 public:
  /// @param name  documents which store the code works with; the flag alone decides the session name
  /// @param db    receives the object, which stays the guard's
  /// @param useProcessSessionName  see MIRAsqlDB
  GuardDB(const std::string& name, CVORN*& db, bool useProcessSessionName);
  ~GuardDB();
  GuardDB(const GuardDB&) = delete;
  GuardDB& operator=(const GuardDB&) = delete;

 private:
  CVORN* m_db;
};
