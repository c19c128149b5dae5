#include "vorn/vorn.h"

/// Runs a statement on the default store. @return its code
extern "C" [[gnu::visibility("default")]] unsigned long runStatement(const char* sql) {
  CVORNsqlstr statement;
  statement.assign(sql);
  return MIRAsqlDB(false).execWriteSQL(statement);
}
