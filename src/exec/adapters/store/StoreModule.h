#pragma once

#include "exec/adapters/store/StoreKind.h"

namespace vorn {

/// What a module hands over to the library: a store in a shared library of its own, loaded on demand.
///
/// A module exports one object of this type, `extern "C"` and named `vornStoreModule`. It carries its own
/// copy of the rooms base, sql and store, which keep no state, and otherwise calls only what the library
/// exports. Library and module are built from one source, so `version` has to be the library's own, to the
/// letter.
struct StoreModule {
  char version[16];
  const StoreKind* kind;
};

}  // namespace vorn
