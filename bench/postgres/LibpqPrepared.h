#pragma once

#include <tuple>

#include "postgres/LibpqStore.h"

namespace bench {

/// A way of making calls: libpq, prepared once on the server, with values as texts.
struct LibpqPrepared {
  using Store = LibpqStore;
  template <typename Kind>
  class Call {
   public:
    Call(LibpqStore& store, const Kind& kind)
        : m_store(store), m_kind(kind), m_name(store.prepare(kind.numbered("$"))) {}

    void run(std::size_t index, Checksum& checksum) {
      m_parameters.clear();
      std::apply([this](const auto&... values) { (m_parameters.add(values), ...); }, m_kind.values[index]);
      m_store.run(m_name, m_parameters, checksum);
    }

   private:
    LibpqStore& m_store;
    const Kind& m_kind;
    const std::string m_name;
    TextParameters m_parameters{std::tuple_size_v<typename Kind::Values>};
  };
};

}  // namespace bench
