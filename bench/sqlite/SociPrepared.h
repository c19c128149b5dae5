#pragma once

#include <tuple>

#include "sqlite/SociStore.h"

namespace bench {

/// A way of making calls: SOCI, prepared once, with variables for the values and the fields.
struct SociPrepared {
  using Store = SociStore;
  template <typename Kind>
  class Call {
   public:
    Call(SociStore& store, const Kind& kind) : m_kind(kind), m_statement(store.session()) {
      if (kind.reads) {
        m_statement.exchange(soci::into(m_row.id));
        m_statement.exchange(soci::into(m_row.text));
        m_statement.exchange(soci::into(m_row.level));
        m_statement.exchange(soci::into(m_row.ratio));
      }
      std::apply([this](auto&... values) { (m_statement.exchange(soci::use(values)), ...); }, m_values);
      m_statement.alloc();
      m_statement.prepare(kind.numbered(":v"));
      m_statement.define_and_bind();
    }

    void run(std::size_t index, Checksum& checksum) {
      m_values = m_kind.values[index];
      m_statement.execute(!m_kind.reads);
      while (m_kind.reads && m_statement.fetch()) checksum.add(m_row);
    }

   private:
    const Kind& m_kind;
    typename Kind::Values m_values;
    SampleRow m_row;
    soci::statement m_statement;
  };
};

}  // namespace bench
