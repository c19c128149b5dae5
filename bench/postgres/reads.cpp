// All rows of a table, read into typed variables.
#include "postgres/PqxxStore.h"
#include "postgres/workloads.h"

namespace bench {

void measureReads(Harness& harness, ServerTable& table) {
  if (!harness.options().wants("read")) return;
  static constexpr const char* kSelect = "select id, text, level, ratio from sample";
  const std::size_t rows = harness.options().size(500'000);
  table.fill(rows);
  StoreWorkload workload = table.onTable({"read", "typed rows", "row", rows});
  workload.add<LibraryStore>(
      "vorn", [](LibraryStore& store, Checksum& checksum) { store.readRows(kSelect, checksum); });
  workload.add<LibpqStore>("libpq, single-row mode", [](LibpqStore& store, Checksum& checksum) {
    store.streamRows(kSelect, checksum);
  });
  workload.add<PqxxStore>("libpqxx, exec", [](PqxxStore& store, Checksum& checksum) {
    PqxxStore::addRows(store.transaction().exec(kSelect), checksum);
  });
  harness.measure(workload);
}

}  // namespace bench
