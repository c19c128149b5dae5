// Single statements whose values change from call to call, and requests of several in a transaction.
#include "SampleCalls.h"
#include "TextCalls.h"
#include "postgres/LibpqPrepared.h"
#include "postgres/PqxxPrepared.h"
#include "postgres/workloads.h"

namespace bench {

namespace {

template <typename... Kinds>
void compare(Harness& harness, StoreWorkload& workload, const Kinds&... kinds) {
  workload.addCalls<TextCalls<LibraryStore>>("vorn", kinds...);
  workload.addCalls<BuilderCalls>("vorn, with rendering", kinds...);
  workload.addCalls<LibpqPrepared>("libpq, prepared once", kinds...);
  workload.addCalls<TextCalls<LibpqStore>>("libpq, PQexec", kinds...);
  workload.addCalls<PqxxPrepared>("libpqxx, prepared once", kinds...);
  harness.measure(workload);
}

void measureSingle(Harness& harness, ServerTable& table) {
  const std::size_t count = harness.options().size(5'000);
  const std::size_t rows = harness.options().size(20'000);
  table.fill(rows);
  StoreWorkload select = table.onTable({"calls", "select by key", "call", count});
  compare(harness, select, makeLookups(count, ScatteredKeys{rows}));

  StoreWorkload update = table.onFresh({"calls", "update by key", "call", count}, rows);
  update.around = InTransaction::Yes;
  compare(harness, update, makeUpdates(count, rows));
}

void measureRequests(Harness& harness, ServerTable& table) {
  const std::size_t count = harness.options().size(2'000);
  const std::size_t rows = harness.options().size(20'000);
  for (const std::size_t threads : {1U, 2U, 4U, 8U}) {
    StoreWorkload workload =
        table.onFresh({"request", "threads: " + std::to_string(threads), "request", count}, rows);
    workload.threads = workload.x = threads;
    workload.panel = "look-up, update and insert in a transaction";
    workload.aroundEach = InTransaction::Yes;
    compare(harness, workload, makeLookups(count, ScatteredKeys{rows}), makeUpdates(count, rows),
            makeInserts(count, rows));
  }
}

void measureThreads(Harness& harness, ServerTable& table) {
  const std::size_t count = harness.options().size(40'000);
  table.fill(100'000);
  StoreWorkload workload = table.onTable({"threads", "look-ups by key", "call", count});
  workload.threads = 8;
  const auto calls = makeLookups(count, ScatteredKeys{100'000});
  workload.addCalls<TextCalls<LibraryStore>>("vorn", calls);
  workload.addThreads<LibpqStore>("libpq, a connection a thread",
                                  [&](LibpqStore& store, std::size_t thread, Checksum& checksum) {
                                    for (std::size_t i = thread; i < count; i += workload.threads)
                                      store.readParsed(calls.texts[i], checksum);
                                  });
  workload.addCalls<LibpqPrepared>("libpq, prepared once", calls);
  harness.measure(workload);
}

}  // namespace

void measureCalls(Harness& harness, ServerTable& table) {
  if (harness.options().wants("threads")) measureThreads(harness, table);
  if (harness.options().wants("calls")) measureSingle(harness, table);
  if (harness.options().wants("request")) measureRequests(harness, table);
}

}  // namespace bench
