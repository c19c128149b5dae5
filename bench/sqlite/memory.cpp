// The memory that a call needs beside its data: the peak of the resident set during the call, less the
// resident set before it. Each case runs in a process of its own, whose heap nothing has used before.
#include <malloc.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "BatchRows.h"
#include "sqlite/FileWorkload.h"
#include "sqlite/workloads.h"

namespace bench {

namespace {

constexpr const char* kSelect = "select id,text,level,ratio from sample";

long statusField(const std::string& wanted) {
  std::ifstream status("/proc/self/status");
  long kibibytes = 0;
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(wanted + ":", 0) == 0) kibibytes = std::stol(line.substr(wanted.size() + 1));
  }
  return kibibytes;
}

/// @return the kibibytes that a call needs at its peak
template <typename Call>
long peakOf(const Call& call) {
  malloc_trim(0);  // what the heap keeps in reserve would hide what the call takes
  std::ofstream("/proc/self/clear_refs") << "5";
  const long before = statusField("VmRSS");
  call();
  return statusField("VmHWM") - before;
}

long insert(LibraryStore& store, std::size_t rows) {
  const BatchInserter batch = makeBatch(SampleRows::make(rows));
  return peakOf([&] { store.execute(batch); });
}

long insert(RawStore& store, std::size_t rows) {
  const SampleRows sample = SampleRows::make(rows);
  return peakOf([&] {
    store.begin();
    store.insert(sample);
    store.commit();
  });
}

template <typename Store>
long read(Store& store) {
  return peakOf([&] {
    Checksum checksum;
    store.readRows(kSelect, checksum);
  });
}

// Slice by slice, so that the rows to be read were never in this process's memory as a whole.
void fillBySlices(RawStore& store, std::size_t rows) {
  constexpr std::size_t kSlice = 10'000;
  SampleRows slice = SampleRows::make(kSlice);
  for (std::size_t row = 0; row < rows; row += kSlice) {
    store.insert(slice);
    for (long& id : slice.ids) id += static_cast<long>(kSlice);
  }
}

template <typename Store>
long runProbe(const std::string& path, bool reads, std::size_t rows) {
  Store store;
  store.open(path);
  const long kibibytes = reads ? read(store) : insert(store, rows);
  store.close();
  return kibibytes;
}

long startProbe(const std::string& directory, const char* what, std::size_t rows) {
  const std::string program = std::filesystem::read_symlink("/proc/self/exe");
  const std::string command =
      "'" + program + "' --memory-probe " + what + ' ' + std::to_string(rows) + " '" + directory + "'";
  FILE* output = popen(command.c_str(), "r");
  if (output == nullptr) throw std::runtime_error("cannot run " + command);
  long kibibytes = 0;
  const int fields = std::fscanf(output, "%ld", &kibibytes);
  if (pclose(output) != 0 || fields != 1) throw std::runtime_error("failed: " + command);
  return kibibytes;
}

}  // namespace

int probeMemory(const std::string& what, std::size_t rows, const std::string& directory) {
  const bool reads = what.rfind("read", 0) == 0;
  const bool byHand = what.find("hand") != std::string::npos;
  DataFiles files(directory, kSampleTable, [&](RawStore& store) { fillBySlices(store, reads ? rows : 0); });
  const std::string path = files.make();
  std::printf("%ld\n",
              byHand ? runProbe<RawStore>(path, reads, rows) : runProbe<LibraryStore>(path, reads, rows));
  return 0;
}

void measureMemory(Harness& harness) {
  if (!harness.options().wants("memory")) return;
  for (const std::size_t full : {10'000U, 100'000U, 1'000'000U, 4'000'000U}) {
    const std::size_t rows = harness.options().quick ? full / 10 : full;
    std::map<std::string, long> figures{{"rows", static_cast<long>(rows)}};
    for (const char* what : {"batch", "batch_by_hand", "read", "read_by_hand"}) {
      figures[what] = startProbe(harness.options().directory, what, rows);
    }
    harness.record("figures", "memory", {{"figures", figures}});
    std::printf("%s\n", nlohmann::json(figures).dump().c_str());
  }
}

}  // namespace bench
