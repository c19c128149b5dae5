#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "template_store/ScriptedEngine.h"

namespace vorn {

/// A prepared statement and the text under which the cache keeps it. It frees its handle when it goes, so no
/// path out of a function leaves one behind.
struct TemplateStatement {
  std::string text;       ///< empty when the statement is not to be kept
  std::size_t bytes = 0;  ///< the memory that keeping it takes, roughly
  std::unique_ptr<scripted::Statement> handle;

  scripted::Statement* operator->() const { return handle.get(); }
};

}  // namespace vorn
