// Single statements whose values change from call to call, and requests of several in a transaction.
#include "SampleCalls.h"
#include "TextCalls.h"
#include "sqlite/FileWorkload.h"
#include "sqlite/RawPrepared.h"
#include "sqlite/SociPrepared.h"
#include "sqlite/SqliteCppPrepared.h"
#include "sqlite/workloads.h"

namespace bench {

namespace {

constexpr std::size_t kRows = 100'000;

void fill(RawStore& store) {
  store.insert(SampleRows::make(kRows));
}

template <typename... Kinds>
void compare(Harness& harness, FileWorkload& workload, const Kinds&... kinds) {
  workload.addCalls<TextCalls<LibraryStore>>("vorn", kinds...);
  workload.addCalls<BuilderCalls>("vorn, with rendering", kinds...);
  workload.addCalls<RawPrepared>("C, prepared once", kinds...);
  workload.addCalls<TextCalls<RawStore>>("C, prepared each time", kinds...);
  workload.addCalls<SqliteCppPrepared>("SQLiteCpp, prepared once", kinds...);
  workload.addCalls<SociPrepared>("SOCI, prepared once", kinds...);
  harness.measure(workload);
}

/// Calls of select that take ten rows from between two texts.
auto makeBounds(std::size_t count) {
  const auto valuesOf = [](std::size_t call) {
    const std::size_t first = 1000 + call * 7919 % 8999;
    return std::tuple(std::to_string(first), std::to_string(first + 1));
  };
  return Calls(
      "select id,text,level,ratio from sample where ((sample.text>=?) and (sample.text<=?)) "
      "order by text LIMIT 10 OFFSET 0",
      count, valuesOf, [](const std::string& lower, const std::string& upper) {
        CVORNSelector selector = sampleSelector();
        CVORNTable sample("sample");
        selector.where(sample["text"] >= lower && sample["text"] <= upper);
        selector.orderBy("text");
        selector.limit(10, 0);
        return selector;
      });
}

void measureLookups(Harness& harness, DataFiles& files) {
  const std::size_t count = harness.options().size(30'000);
  const auto measure = [&](const char* name, const auto& keyOf) {
    FileWorkload workload({"lookup", name, "look-up", count}, files);
    compare(harness, workload, makeLookups(count, keyOf));
  };
  measure("same text", [](std::size_t) { return std::tuple(50'000L); });
  measure("changing text", ScatteredKeys{kRows});
  measure("32 texts in turn",
          [](std::size_t call) { return std::tuple(static_cast<long>(call % 32) * 1000 + 1); });

  DataFiles indexed(harness.options().directory,
                    std::string(kSampleTable) + "; create index sample_text on sample (text)", fill);
  FileWorkload workload({"lookup", "two text bounds, ordered, limited", "look-up", count}, indexed);
  compare(harness, workload, makeBounds(count));
}

void measureChanges(Harness& harness, DataFiles& files) {
  const std::size_t count = harness.options().size(20'000);
  const auto measure = [&](const char* name, const auto& calls) {
    FileWorkload workload({"change", name, "call", count}, files, InTransaction::Yes, kSampleVerification);
    compare(harness, workload, calls);
  };
  measure("update by key", makeUpdates(count, kRows));
  measure("delete by key", makeDeletes(count, kRows));
  measure("insert", makeInserts(count, kRows));
}

void measureRequests(Harness& harness, DataFiles& files) {
  const std::size_t count = harness.options().size(3'000);
  for (const std::size_t threads : {1U, 2U, 4U, 8U}) {
    FileWorkload workload({"request", "threads: " + std::to_string(threads), "request", count}, files);
    workload.synchronous = "normal";
    workload.threads = workload.x = threads;
    workload.panel = "look-up, update and insert in a transaction";
    workload.aroundEach = InTransaction::Yes;
    workload.verification = kSampleVerification;
    compare(harness, workload, makeLookups(count, ScatteredKeys{kRows}), makeUpdates(count, kRows),
            makeInserts(count, kRows));
  }
}

}  // namespace

void measureCalls(Harness& harness) {
  const auto wants = [&harness](const char* group) { return harness.options().wants(group); };
  if (!wants("lookup") && !wants("change") && !wants("request")) return;
  DataFiles files(harness.options().directory, kSampleTable, fill);
  if (wants("lookup")) measureLookups(harness, files);
  if (wants("change")) measureChanges(harness, files);
  if (wants("request")) measureRequests(harness, files);
}

}  // namespace bench
