#pragma once

#include <tuple>

#include "postgres/PqxxStore.h"

namespace bench {

/// A way of making calls: libpqxx, prepared once on the server.
struct PqxxPrepared {
  using Store = PqxxStore;
  template <typename Kind>
  class Call {
   public:
    Call(PqxxStore& store, const Kind& kind)
        : m_store(store), m_kind(kind), m_name(store.prepare(kind.numbered("$"))) {}

    void run(std::size_t index, Checksum& checksum) {
      const auto execute = [this](const auto&... values) {
        return m_store.transaction().exec_prepared(m_name, values...);
      };
      PqxxStore::addRows(std::apply(execute, m_kind.values[index]), checksum);
    }

   private:
    PqxxStore& m_store;
    const Kind& m_kind;
    const std::string m_name;
  };
};

}  // namespace bench
