#pragma once

#include "exec/adapters/sql/SqlDialect.h"

namespace vorn {

// What the store's SQL has beyond literals in single quotes, names in double quotes and plain comments: every
// form that may hide a semicolon or a brace. A form that is forgotten here lets a placeholder be replaced
// inside a literal.
inline constexpr SqlDialect kTemplateDialect{.parameterMark = '?'};

}  // namespace vorn
