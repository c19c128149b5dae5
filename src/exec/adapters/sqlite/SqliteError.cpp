#include "exec/adapters/sqlite/SqliteError.h"

#include <sqlite3.h>

#include <new>
#include <string>

#include "exec/adapters/base/Failure.h"

namespace vorn {

namespace {

struct NamedCode {
  int code;
  const char* name;
};

#define VORN_NAMED_CODE(code) \
  { code, #code }

constexpr NamedCode kNamedCodes[] = {
    VORN_NAMED_CODE(SQLITE_ERROR),
    VORN_NAMED_CODE(SQLITE_INTERNAL),
    VORN_NAMED_CODE(SQLITE_PERM),
    VORN_NAMED_CODE(SQLITE_ABORT),
    VORN_NAMED_CODE(SQLITE_BUSY),
    VORN_NAMED_CODE(SQLITE_LOCKED),
    VORN_NAMED_CODE(SQLITE_NOMEM),
    VORN_NAMED_CODE(SQLITE_READONLY),
    VORN_NAMED_CODE(SQLITE_INTERRUPT),
    VORN_NAMED_CODE(SQLITE_IOERR),
    VORN_NAMED_CODE(SQLITE_CORRUPT),
    VORN_NAMED_CODE(SQLITE_NOTFOUND),
    VORN_NAMED_CODE(SQLITE_FULL),
    VORN_NAMED_CODE(SQLITE_CANTOPEN),
    VORN_NAMED_CODE(SQLITE_PROTOCOL),
    VORN_NAMED_CODE(SQLITE_EMPTY),
    VORN_NAMED_CODE(SQLITE_SCHEMA),
    VORN_NAMED_CODE(SQLITE_TOOBIG),
    VORN_NAMED_CODE(SQLITE_CONSTRAINT),
    VORN_NAMED_CODE(SQLITE_MISMATCH),
    VORN_NAMED_CODE(SQLITE_MISUSE),
    VORN_NAMED_CODE(SQLITE_NOLFS),
    VORN_NAMED_CODE(SQLITE_AUTH),
    VORN_NAMED_CODE(SQLITE_FORMAT),
    VORN_NAMED_CODE(SQLITE_RANGE),
    VORN_NAMED_CODE(SQLITE_NOTADB),
    VORN_NAMED_CODE(SQLITE_ERROR_MISSING_COLLSEQ),
    VORN_NAMED_CODE(SQLITE_ERROR_RETRY),
    VORN_NAMED_CODE(SQLITE_ERROR_SNAPSHOT),
    VORN_NAMED_CODE(SQLITE_IOERR_READ),
    VORN_NAMED_CODE(SQLITE_IOERR_SHORT_READ),
    VORN_NAMED_CODE(SQLITE_IOERR_WRITE),
    VORN_NAMED_CODE(SQLITE_IOERR_FSYNC),
    VORN_NAMED_CODE(SQLITE_IOERR_DIR_FSYNC),
    VORN_NAMED_CODE(SQLITE_IOERR_TRUNCATE),
    VORN_NAMED_CODE(SQLITE_IOERR_FSTAT),
    VORN_NAMED_CODE(SQLITE_IOERR_UNLOCK),
    VORN_NAMED_CODE(SQLITE_IOERR_RDLOCK),
    VORN_NAMED_CODE(SQLITE_IOERR_DELETE),
    VORN_NAMED_CODE(SQLITE_IOERR_BLOCKED),
    VORN_NAMED_CODE(SQLITE_IOERR_NOMEM),
    VORN_NAMED_CODE(SQLITE_IOERR_ACCESS),
    VORN_NAMED_CODE(SQLITE_IOERR_CHECKRESERVEDLOCK),
    VORN_NAMED_CODE(SQLITE_IOERR_LOCK),
    VORN_NAMED_CODE(SQLITE_IOERR_CLOSE),
    VORN_NAMED_CODE(SQLITE_IOERR_DIR_CLOSE),
    VORN_NAMED_CODE(SQLITE_IOERR_SHMOPEN),
    VORN_NAMED_CODE(SQLITE_IOERR_SHMSIZE),
    VORN_NAMED_CODE(SQLITE_IOERR_SHMLOCK),
    VORN_NAMED_CODE(SQLITE_IOERR_SHMMAP),
    VORN_NAMED_CODE(SQLITE_IOERR_SEEK),
    VORN_NAMED_CODE(SQLITE_IOERR_DELETE_NOENT),
    VORN_NAMED_CODE(SQLITE_IOERR_MMAP),
    VORN_NAMED_CODE(SQLITE_IOERR_GETTEMPPATH),
    VORN_NAMED_CODE(SQLITE_IOERR_CONVPATH),
    VORN_NAMED_CODE(SQLITE_IOERR_VNODE),
    VORN_NAMED_CODE(SQLITE_IOERR_AUTH),
    VORN_NAMED_CODE(SQLITE_IOERR_BEGIN_ATOMIC),
    VORN_NAMED_CODE(SQLITE_IOERR_COMMIT_ATOMIC),
    VORN_NAMED_CODE(SQLITE_IOERR_ROLLBACK_ATOMIC),
    VORN_NAMED_CODE(SQLITE_IOERR_DATA),
    VORN_NAMED_CODE(SQLITE_IOERR_CORRUPTFS),
    VORN_NAMED_CODE(SQLITE_LOCKED_SHAREDCACHE),
    VORN_NAMED_CODE(SQLITE_LOCKED_VTAB),
    VORN_NAMED_CODE(SQLITE_BUSY_RECOVERY),
    VORN_NAMED_CODE(SQLITE_BUSY_SNAPSHOT),
    VORN_NAMED_CODE(SQLITE_BUSY_TIMEOUT),
    VORN_NAMED_CODE(SQLITE_CANTOPEN_NOTEMPDIR),
    VORN_NAMED_CODE(SQLITE_CANTOPEN_ISDIR),
    VORN_NAMED_CODE(SQLITE_CANTOPEN_FULLPATH),
    VORN_NAMED_CODE(SQLITE_CANTOPEN_CONVPATH),
    VORN_NAMED_CODE(SQLITE_CANTOPEN_DIRTYWAL),
    VORN_NAMED_CODE(SQLITE_CANTOPEN_SYMLINK),
    VORN_NAMED_CODE(SQLITE_CORRUPT_VTAB),
    VORN_NAMED_CODE(SQLITE_CORRUPT_SEQUENCE),
    VORN_NAMED_CODE(SQLITE_CORRUPT_INDEX),
    VORN_NAMED_CODE(SQLITE_READONLY_RECOVERY),
    VORN_NAMED_CODE(SQLITE_READONLY_CANTLOCK),
    VORN_NAMED_CODE(SQLITE_READONLY_ROLLBACK),
    VORN_NAMED_CODE(SQLITE_READONLY_DBMOVED),
    VORN_NAMED_CODE(SQLITE_READONLY_CANTINIT),
    VORN_NAMED_CODE(SQLITE_READONLY_DIRECTORY),
    VORN_NAMED_CODE(SQLITE_ABORT_ROLLBACK),
    VORN_NAMED_CODE(SQLITE_CONSTRAINT_CHECK),
    VORN_NAMED_CODE(SQLITE_CONSTRAINT_COMMITHOOK),
    VORN_NAMED_CODE(SQLITE_CONSTRAINT_FOREIGNKEY),
    VORN_NAMED_CODE(SQLITE_CONSTRAINT_FUNCTION),
    VORN_NAMED_CODE(SQLITE_CONSTRAINT_NOTNULL),
    VORN_NAMED_CODE(SQLITE_CONSTRAINT_PRIMARYKEY),
    VORN_NAMED_CODE(SQLITE_CONSTRAINT_TRIGGER),
    VORN_NAMED_CODE(SQLITE_CONSTRAINT_UNIQUE),
    VORN_NAMED_CODE(SQLITE_CONSTRAINT_VTAB),
    VORN_NAMED_CODE(SQLITE_CONSTRAINT_ROWID),
    VORN_NAMED_CODE(SQLITE_CONSTRAINT_PINNED),
    VORN_NAMED_CODE(SQLITE_CONSTRAINT_DATATYPE),
    VORN_NAMED_CODE(SQLITE_AUTH_USER),
};

#undef VORN_NAMED_CODE

// A message may quote a piece of the statement, and with it a value that belongs in no log: an unfinished
// literal up to the end of the text, or the literal at which the parser stopped.
std::string withoutStatementText(const std::string& message) {
  for (const char* opening : {"unrecognized token: ", "near \"'", "near \"x'", "near \"X'"}) {
    if (message.rfind(opening, 0) != 0) continue;
    return opening[0] == 'u' ? "unrecognized token" : "near a literal: syntax error";
  }
  return message;
}

// The file of the store, for a message that is about it and does not name it. Nothing for a store in memory,
// and where it may be one of several files.
std::string fileMeant(sqlite3* database, std::uint32_t code) {
  switch (code & 0xff) {
    case SQLITE_CANTOPEN:
    case SQLITE_READONLY:
    case SQLITE_IOERR:
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_FULL:
      break;
    default:
      return "";
  }
  const char* const file = sqlite3_db_filename(database, "main");
  constexpr int kFirstAttached = 2;
  const bool isOne = file != nullptr && *file != '\0' && sqlite3_uri_parameter(file, "vfs") == nullptr &&
                     sqlite3_db_name(database, kFirstAttached) == nullptr;
  return isOne ? std::string(" '").append(file).append("'") : "";
}

}  // namespace

ExecResult sqliteFailure(sqlite3* database) noexcept {
  const auto code = static_cast<std::uint32_t>(sqlite3_extended_errcode(database));
  try {
    return makeFailure(ErrorFamily::Sqlite, code,
                       withoutStatementText(sqlite3_errmsg(database)) + fileMeant(database, code));
  } catch (const std::bad_alloc&) {
    return {1, makeErrorCode(ErrorFamily::Sqlite, code), std::string("out of memory")};  // needs none
  }
}

ExecResult sqliteFailure(int extendedCode) {
  return makeFailure(ErrorFamily::Sqlite, static_cast<std::uint32_t>(extendedCode),
                     sqlite3_errstr(extendedCode));
}

std::string describeSqliteError(std::uint32_t code) {
  std::string description = std::to_string(code);
  for (const NamedCode& named : kNamedCodes) {
    if (static_cast<std::uint32_t>(named.code) == code) description.append(" ").append(named.name);
  }
  return description;
}

ErrorClass classifySqliteError(std::uint32_t code) noexcept {
  switch (code & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
      return ErrorClass::Retry;
    case SQLITE_CANTOPEN:
      return ErrorClass::ConnectionLost;
    case SQLITE_INTERRUPT:
      return ErrorClass::Timeout;
    case SQLITE_CONSTRAINT:
      return ErrorClass::Constraint;
    case SQLITE_ERROR:
    case SQLITE_SCHEMA:
      return ErrorClass::Statement;
    case SQLITE_TOOBIG:
    case SQLITE_MISMATCH:
    case SQLITE_RANGE:
      return ErrorClass::Value;
    case SQLITE_PERM:
    case SQLITE_AUTH:
    case SQLITE_READONLY:
      return ErrorClass::Permission;
    case SQLITE_NOMEM:
    case SQLITE_FULL:
      return ErrorClass::Resource;
    default:
      return ErrorClass::Other;
  }
}

}  // namespace vorn
