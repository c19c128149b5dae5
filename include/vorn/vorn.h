#pragma once

/// The whole library in one include. Each header below also stands alone, under C++17 and later.
///
/// A comment describes a class or a function in this order: what it is, the rules for its use, an example,
/// and then, where there is something to say, three paragraphs:
/// - "Threads:" which threads may use it. Without this paragraph a class is a plain value: an object is used
///   by one thread at a time, and objects share nothing.
/// - "Errors:" how a failure shows. Without this paragraph only the standard strings and containers throw.
/// - "Requires:" what the caller must see to. Without this paragraph a function may be called at any time.
///
/// In the examples `db` is a `CVORN*` that a GuardDB has created, and `text` is a std::string that came from
/// outside the program.

#include "vorn/batch_inserter.h"
#include "vorn/criteria.h"
#include "vorn/database.h"
#include "vorn/database_names.h"
#include "vorn/deleter.h"
#include "vorn/dropper.h"
#include "vorn/inserter.h"
#include "vorn/platform/logging.h"
#include "vorn/platform/stores.h"
#include "vorn/reader.h"
#include "vorn/selector.h"
#include "vorn/sqlite_util.h"
#include "vorn/statement.h"
#include "vorn/transaction.h"
#include "vorn/updater.h"
#include "vorn/version.h"
