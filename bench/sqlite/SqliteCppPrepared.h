#pragma once

#include <tuple>

#include "sqlite/SqliteCppStore.h"

namespace bench {

/// A way of making calls: SQLiteCpp, prepared once and bound.
struct SqliteCppPrepared {
  using Store = SqliteCppStore;
  template <typename Kind>
  class Call {
   public:
    Call(SqliteCppStore& store, const Kind& kind)
        : m_store(store), m_kind(kind), m_statement(store.database(), kind.marked) {}

    void run(std::size_t index, Checksum& checksum) {
      int parameter = 0;
      std::apply([&](const auto&... values) { (bind(++parameter, values), ...); }, m_kind.values[index]);
      m_store.readRows(m_statement, checksum);
      m_statement.reset();
    }

   private:
    void bind(int parameter, long value) { m_statement.bind(parameter, static_cast<int64_t>(value)); }
    void bind(int parameter, double value) { m_statement.bind(parameter, value); }
    void bind(int parameter, const std::string& text) { m_statement.bindNoCopy(parameter, text); }

    SqliteCppStore& m_store;
    const Kind& m_kind;
    SQLite::Statement m_statement;
  };
};

}  // namespace bench
