#pragma once

/// The whole library in one include. Each header below also stands alone, under C++17 and later.

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
#include "vorn/updater.h"
