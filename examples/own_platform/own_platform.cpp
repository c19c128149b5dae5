// A platform of the caller's own: the core of the library, without its data-access layer. The statements are
// not run but written as a script, which somebody reviews before it is run elsewhere.
//
//   own_platform > script.sql
//
// The core is builders, conditions, batches, transactions and the database object. It is linked with the
// functions that the headers in vorn/platform declare, and ScriptPlatform.cpp is one implementation of them:
// the object library vorn_core (and vorn_values, plain data that any platform can share) in the place of
// VORN::vorn, as CMakeLists.txt shows. The calling code is the same as with a store.

#include <cstdio>

#include "vorn/vorn.h"

namespace {

/// The change that is to be reviewed: a new level of alarms, and three alarms that get it.
unsigned long changeLevels(CVORN& db) {
  CVORNInserter level;
  level.table("level");
  level["number"]["name"] << 5 << "operator's choice";
  unsigned long code = db.execWriteSQL(level);
  if (code != 0) return code;

  BatchInserter names;
  names.table("level_name");
  names["language"] << std::string("de") << std::string("en") << std::string("fr");
  names["number"] << 5L << 5L << 5L;
  names["weight"] << 0.5 << 1.0 << 0.25;
  code = db.ExecBatchInserter(names);
  if (code != 0) return code;

  CVORNUpdater updater;
  const CVORNTable alarm = updater.table("alarm");
  updater["level"].assign(5);
  updater.where(alarm["id"].in("7,8,9"));
  return db.execWriteSQL(updater);
}

}  // namespace

int main() {
  MIRAsqlDB db(false);
  {
    const vorn::Transaction abandoned(db);  // leaves no trace in the script
    changeLevels(db);
  }
  vorn::Transaction transaction(db);
  unsigned long code = changeLevels(db);
  if (code == 0) code = transaction.commit();
  if (code != 0) {
    std::fprintf(stderr, "own_platform: %s\n", vorn::describeError(code).c_str());
    return 1;
  }

  CVORNSelector selector;
  selector.table("alarm");
  CVORNReader reader;
  std::printf("-- a read: %s\n", vorn::describeError(db.execReadSQL(selector, reader)).c_str());
  return 0;
}
