#include "exec/adapters/sqlite/SqliteKind.h"

#include "exec/adapters/sqlite/SqliteDriver.h"
#include "exec/adapters/sqlite/SqliteError.h"

namespace vorn {

const StoreKind kSqliteKind = {ErrorFamily::Sqlite, "sqlite", makeSqliteDriver, describeSqliteError,
                               classifySqliteError};

}  // namespace vorn
