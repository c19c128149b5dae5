#pragma once

#include "exec/adapters/sql/SqlDialect.h"

namespace vorn {

// In the session that a connection settles: quotes are doubled, a backslash is a plain byte, and double
// quotes are for names.
inline constexpr SqlDialect kMariaDbDialect{.parameterMark = '?',
                                            .numberedParameters = false,
                                            .backquotedNames = true,
                                            .hashComments = true,
                                            .dashesNeedBlank = true,
                                            .executableComments = true,
                                            .typedParameters = true};

}  // namespace vorn
