#pragma once

#include <utility>

#include "Harness.h"
#include "StoreWorkload.h"
#include "sqlite/DataFiles.h"
#include "sqlite/SociStore.h"
#include "sqlite/SqliteCppStore.h"

namespace bench {

/// The table of most workloads, for SampleRows.
inline constexpr const char* kSampleTable =
    "create table sample (id integer primary key, text text, level integer, ratio real)";

/// A workload whose competitors each work on a fresh data file in each round.
struct FileWorkload : StoreWorkload {
  explicit FileWorkload(Workload workload, DataFiles& files, InTransaction transaction = InTransaction::No,
                        std::string query = "")
      : StoreWorkload(std::move(workload)) {
    makeData = [this, &files] { return Place(files.make(), synchronous); };
    dropData = [](const Place& place) { DataFiles::remove(place.address); };
    around = transaction;
    verification = std::move(query);
  }

  std::string synchronous = "full";
};

}  // namespace bench
