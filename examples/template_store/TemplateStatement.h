#pragma once

#include <memory>

#include "exec/adapters/store/StatementCache.h"
#include "template_store/ScriptedEngine.h"

namespace vorn {

/// A prepared statement, as the cache keeps it. It frees its handle when it goes, so no
/// path out of a function leaves one behind.
struct TemplateStatement : CachedStatement {
  std::unique_ptr<scripted::Statement> handle;

  scripted::Statement* operator->() const { return handle.get(); }
};

}  // namespace vorn
