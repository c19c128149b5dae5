// The memory that a call needs beside its data: the peak of the resident set during the call, less the
// resident set before it. Each case runs in a process of its own, whose heap nothing has used before.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "SampleRows.h"
#include "sqlite/workloads.h"
#include "vorn/batch_inserter.h"
#include "vorn/reader.h"
#include "vorn/statement.h"

namespace bench {

namespace {

long statusField(const std::string& wanted) {
  std::ifstream status("/proc/self/status");
  std::string name;
  long kibibytes = 0;
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(wanted + ":", 0) == 0) kibibytes = std::stol(line.substr(wanted.size() + 1));
  }
  return kibibytes;
}

long resetPeak() {
  std::ofstream("/proc/self/clear_refs") << "5";
  return statusField("VmRSS");
}

long batchNeeds(LibraryStore& store, std::size_t rows) {
  BatchInserter batch;
  batch.table("sample");
  {
    const SampleRows sample = SampleRows::make(rows);
    batch["id"];
    for (const long id : sample.ids) batch << id;
    batch["text"];
    for (const std::string& text : sample.texts) batch << text;
    batch["level"];
    for (const long level : sample.levels) batch << level;
    batch["ratio"];
    for (const double ratio : sample.ratios) batch << ratio;
  }
  const long before = resetPeak();
  LibraryStore::check(store.db().ExecBatchInserter(batch));
  return statusField("VmHWM") - before;
}

long readNeeds(LibraryStore& store) {
  CVORNsqlstr select;
  select.assign("select id,text,level,ratio from sample");
  const long before = resetPeak();
  CVORNReader reader;
  LibraryStore::check(store.db().execReadSQL(select, reader));
  long id = 0;
  std::string text;
  while (reader.hasNextElement()) reader >> id >> text;
  return statusField("VmHWM") - before;
}

double runProbe(const std::string& directory, const char* what, std::size_t rows) {
  const std::string program = std::filesystem::read_symlink("/proc/self/exe");
  const std::string command =
      "'" + program + "' --memory-probe " + what + ' ' + std::to_string(rows) + " '" + directory + "'";
  FILE* output = popen(command.c_str(), "r");
  if (output == nullptr) throw std::runtime_error("cannot run " + command);
  long kibibytes = -1;
  const int fields = std::fscanf(output, "%ld", &kibibytes);
  if (pclose(output) != 0 || fields != 1) throw std::runtime_error("failed: " + command);
  return static_cast<double>(kibibytes);
}

}  // namespace

int probeMemory(const std::string& what, std::size_t rows, const std::string& directory) {
  Scratch scratch(directory);
  DataFiles files(scratch, kSampleTable, [&](RawStore& raw) {
    // Slice by slice, so that the rows to be read were never in this process's memory as a whole.
    constexpr std::size_t kSlice = 10'000;
    SampleRows slice = SampleRows::make(kSlice);
    for (std::size_t row = 0; what == "read" && row < rows; row += kSlice) {
      insertPrepared(raw, slice);
      for (long& id : slice.ids) id += static_cast<long>(kSlice);
    }
  });
  LibraryStore store;
  store.open(files.make());
  std::printf("%ld\n", what == "read" ? readNeeds(store) : batchNeeds(store, rows));
  store.close();
  return 0;
}

void measureMemory(Harness& harness) {
  for (const std::size_t full : {10'000U, 100'000U, 1'000'000U, 4'000'000U}) {
    const std::size_t rows = harness.options().quick ? full / 10 : full;
    const std::string& directory = harness.options().directory;
    harness.reporter().reportFigures("memory", std::to_string(rows) + " rows",
                                     {{"rows", static_cast<double>(rows)},
                                      {"batch_kib", runProbe(directory, "batch", rows)},
                                      {"read_kib", runProbe(directory, "read", rows)}});
  }
}

}  // namespace bench
