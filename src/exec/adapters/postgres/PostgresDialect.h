#pragma once

#include "exec/adapters/sql/SqlDialect.h"

namespace vorn {

inline constexpr SqlDialect kPostgresDialect{.parameterMark = '$',
                                             .nestedComments = true,
                                             .escapedLiterals = true,
                                             .dollarQuotes = true,
                                             .typedParameters = true,
                                             .backslashIsASetting = true};

}  // namespace vorn
