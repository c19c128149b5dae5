#pragma once

#include <tuple>

#include "sqlite/RawStore.h"

namespace bench {

/// A way of making calls: the C interface, prepared once and bound by hand.
struct RawPrepared {
  using Store = RawStore;
  template <typename Kind>
  class Call {
   public:
    Call(RawStore& store, const Kind& kind)
        : m_store(store), m_kind(kind), m_statement(store.prepare(kind.marked)) {}

    void run(std::size_t index, Checksum& checksum) {
      sqlite3_stmt* const statement = m_statement.get();
      int parameter = 0;
      std::apply([&](const auto&... values) { (m_store.bind(statement, ++parameter, values), ...); },
                 m_kind.values[index]);
      m_store.readRows(statement, checksum);
      m_store.check(sqlite3_reset(statement));
    }

   private:
    RawStore& m_store;
    const Kind& m_kind;
    const RawStore::Statement m_statement;
  };
};

}  // namespace bench
