#pragma once

#include "exec/adapters/store/StoreKind.h"

namespace vorn {

/// The embedded store: `sqlite:<path>` and `sqlite::memory:`.
extern const StoreKind kSqliteKind;

}  // namespace vorn
