#pragma once

#include <string>

#include "exec/adapters/store/StoreKind.h"

namespace vorn {

/// Loads the stores that stand in modules of their own.
///
/// A module is looked for in `vorn/<major version>/` beside the library, and then in the folder that
/// VORN_MODULE_DIR names, unless the process is privileged. The first file of the name counts. Any thread may
/// load, also two at once the same module.
///
/// Invariants:
/// 1. Nothing of a module is called before its version was found to be the library's own.
/// 2. A module that was loaded stays until the process ends, and the library with it.
/// 3. A failure is not remembered: once the package is installed, the next call finds the module.
class ModuleLoader {
 public:
  /// @param module  the store's name in file names: "postgresql" for libvorn-postgresql.so
  /// @param kind  set to what the module brings
  /// @return a failure for a module that is missing, of another version, or cannot be loaded
  static ExecResult load(const std::string& module, const StoreKind*& kind);
};

}  // namespace vorn
