// Several threads at once: readers of pages of a hundred rows, with and without a writer.
#include "sqlite/FileWorkload.h"
#include "sqlite/ThreadRound.h"
#include "sqlite/workloads.h"
#include "vorn/selector.h"

namespace bench {

namespace {

constexpr int kRows = 100'000;
constexpr int kPageRows = 100;

std::string renderPage(int first) {
  CVORNSelector selector;
  CVORNTable sample = selector.table("sample");
  for (const char* column : {"id", "text", "level", "ratio"}) selector.select(column);
  selector.where(sample["id"] >= first);
  selector.limit(kPageRows, 0);
  return selector.toString();
}

void measureLoad(Harness& harness, DataFiles& files, std::size_t readers, bool writer) {
  ThreadLoad load{readers, writer, {}, kRows};
  const std::size_t pages = harness.options().size(10'000);
  for (std::size_t i = 0; i < pages; ++i) {
    load.pages.push_back(renderPage(static_cast<int>((i * 7919) % (kRows - kPageRows)) + 1));
  }
  const std::string panel = writer ? "one writer, readers" : "readers";
  Workload workload{"threads", panel + ": " + std::to_string(readers), "row", pages * kPageRows};
  workload.panel = panel;
  workload.x = readers;
  workload.mostRounds = 7;
  if (writer) workload.sideUnit = "inserts/s";
  ThreadRound<LibraryStore> library(files, load);
  ThreadRound<RawStore> byHand(files, load);
  workload.competitors.push_back(library.competitor("vorn"));
  workload.competitors.push_back(byHand.competitor("C, connection a thread"));
  harness.measure(workload);
}

}  // namespace

void measureThreads(Harness& harness) {
  if (!harness.options().wants("threads")) return;
  DataFiles files(harness.options().directory, kSampleTable,
                  [](RawStore& store) { store.insert(SampleRows::make(kRows)); });
  for (const std::size_t readers : {1U, 2U, 4U, 8U}) measureLoad(harness, files, readers, false);
  for (const std::size_t readers : {1U, 3U, 7U}) measureLoad(harness, files, readers, true);
}

}  // namespace bench
