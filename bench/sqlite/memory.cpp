// The memory that a call needs beside its data: the peak of the resident set during the call, less the
// resident set before it. Each case runs in a process of its own, whose heap nothing has used before.
#include <malloc.h>

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
  malloc_trim(0);  // what the heap keeps in reserve would hide what the call takes
  std::ofstream("/proc/self/clear_refs") << "5";
  return statusField("VmRSS");
}

long batchNeeds(LibraryStore& store, std::size_t rows) {
  BatchInserter batch;
  batch.table("sample");
  fillByColumn(batch, SampleRows::make(rows));
  const long before = resetPeak();
  LibraryStore::check(store.db().ExecBatchInserter(batch));
  return statusField("VmHWM") - before;
}

long batchNeeds(RawStore& store, std::size_t rows) {
  const SampleRows sample = SampleRows::make(rows);
  const long before = resetPeak();
  store.begin();
  insertPrepared(store, sample);
  store.commit();
  return statusField("VmHWM") - before;
}

long readNeeds(LibraryStore& store, std::size_t) {
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

long readNeeds(RawStore& store, std::size_t) {
  const long before = resetPeak();
  const RawStore::Statement statement = store.prepare("select id,text,level,ratio from sample");
  std::string text;
  while (sqlite3_step(statement.get()) == SQLITE_ROW) {
    text = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 1));
  }
  return statusField("VmHWM") - before;
}

// Slice by slice, so that the rows to be read were never in this process's memory as a whole.
void fillBySlices(RawStore& store, std::size_t rows) {
  constexpr std::size_t kSlice = 10'000;
  SampleRows slice = SampleRows::make(kSlice);
  for (std::size_t row = 0; row < rows; row += kSlice) {
    insertPrepared(store, slice);
    for (long& id : slice.ids) id += static_cast<long>(kSlice);
  }
}

template <typename Store>
long runProbe(DataFiles& files, bool reads, std::size_t rows) {
  Store store;
  store.open(files.make());
  const long kibibytes = reads ? readNeeds(store, rows) : batchNeeds(store, rows);
  store.close();
  return kibibytes;
}

double startProbe(const std::string& directory, const char* what, std::size_t rows) {
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
  const bool reads = what.rfind("read", 0) == 0;
  Scratch scratch(directory);
  DataFiles files(scratch, kSampleTable, [&](RawStore& store) { fillBySlices(store, reads ? rows : 0); });
  const bool byHand = what.find("hand") != std::string::npos;
  std::printf("%ld\n",
              byHand ? runProbe<RawStore>(files, reads, rows) : runProbe<LibraryStore>(files, reads, rows));
  return 0;
}

void measureMemory(Harness& harness) {
  for (const std::size_t full : {10'000U, 100'000U, 1'000'000U, 4'000'000U}) {
    const std::size_t rows = harness.options().quick ? full / 10 : full;
    std::map<std::string, double> figures{{"rows", static_cast<double>(rows)}};
    for (const char* what : {"batch", "batch_by_hand", "read", "read_by_hand"}) {
      figures[what] = startProbe(harness.options().directory, what, rows);
    }
    harness.reporter().reportFigures("memory", std::to_string(rows) + " rows", figures);
  }
}

}  // namespace bench
