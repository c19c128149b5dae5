#pragma once

#include <memory>
#include <utility>

#include "Harness.h"
#include "LibraryStore.h"
#include "sqlite/DataFiles.h"
#include "sqlite/SociStore.h"
#include "sqlite/SqliteCppStore.h"

namespace bench {

/// The table of most workloads, for SampleRows.
inline constexpr const char* kSampleTable =
    "create table sample (id integer primary key, text text, level integer, ratio real)";

/// What was written into it.
inline constexpr const char* kSampleVerification =
    "select count(*) || '/' || sum(id) || '/' || sum(length(text)) || '/' || sum(level) || '/' || sum(ratio) "
    "from sample";

enum class InTransaction { No, Yes };

/// A workload whose competitors each work on a fresh data file in each round, through one of the stores.
struct FileWorkload : Workload {
  /// @param around  whether a transaction is open around each; its begin and commit are not timed
  /// @param query   its only field stands for what was written; empty for reads
  explicit FileWorkload(Workload workload, DataFiles& dataFiles, InTransaction around = InTransaction::No,
                        std::string query = "")
      : Workload(std::move(workload)),
        files(dataFiles),
        transaction(around),
        verification(std::move(query)) {}

  /// Adds a competitor. @param work  (store, checksum)
  template <typename Store, typename Work>
  void add(const char* competitor, const Work& work) {
    const auto store = std::make_shared<Store>();
    const auto path = std::make_shared<std::string>();
    const auto run = [store, work](Checksum& checksum) { work(*store, checksum); };
    const auto prepare = [this, store, path] {
      *path = files.make();
      store->open(*path);
      if (transaction == InTransaction::Yes) store->begin();
    };
    const auto finish = [this, store, path](Checksum& checksum) {
      if (transaction == InTransaction::Yes) store->commit();
      if (!verification.empty()) checksum.addBytes(store->first(verification));
      store->close();
      DataFiles::remove(*path);
      return 0.0;
    };
    competitors.push_back({competitor, run, prepare, finish});
  }

  DataFiles& files;
  const InTransaction transaction;
  const std::string verification;
};

}  // namespace bench
