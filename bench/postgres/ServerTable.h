#pragma once

#include "StoreWorkload.h"
#include "postgres/LibpqStore.h"

namespace bench {

/// The sample table on a server, and workloads on it.
class ServerTable {
 public:
  explicit ServerTable(std::string url);

  /// Fills the table with SampleRows, with an index on their keys where there are some.
  void fill(std::size_t rows);

  /// @return a workload on the table as it is
  StoreWorkload onTable(Workload workload) const;
  /// @return a workload that changes the table. @param rows  that the table has before each round
  StoreWorkload onFresh(Workload workload, std::size_t rows);

 private:
  const std::string m_url;
  LibpqStore m_libpq;
};

}  // namespace bench
