#pragma once

#include "exec/adapters/sql/SqlDialect.h"

namespace vorn {

inline constexpr SqlDialect kSqliteDialect{.parameterMark = '?',
                                           .backquotedNames = true,
                                           .bracketedNames = true,
                                           .doubleQuotedLiterals = true,
                                           .literalsDecideThePlan = true};

}  // namespace vorn
