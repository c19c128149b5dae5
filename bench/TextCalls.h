#pragma once

#include <tuple>

#include "LibraryStore.h"

namespace bench {

/// A way of making calls: texts that were rendered beforehand.
template <typename AnyStore>
struct TextCalls {
  using Store = AnyStore;
  template <typename Kind>
  struct Call {
    Store& store;
    const Kind& kind;
    void run(std::size_t index, Checksum& checksum) { store.readRows(kind.texts[index], checksum); }
  };
};

template <>
struct TextCalls<LibraryStore> {
  using Store = LibraryStore;
  template <typename Kind>
  struct Call {
    Store& store;
    const Kind& kind;
    void run(std::size_t index, Checksum& checksum) {
      store.run(kind.statements[index], kind.reads, checksum);
    }
  };
};

/// A way of making calls: through the library, each with a builder of its own.
struct BuilderCalls {
  using Store = LibraryStore;
  template <typename Kind>
  struct Call {
    Store& store;
    const Kind& kind;
    void run(std::size_t index, Checksum& checksum) {
      store.run(std::apply(kind.render, kind.values[index]), kind.reads, checksum);
    }
  };
};

}  // namespace bench
