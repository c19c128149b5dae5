// The library on SQLite against the C interface, SQLiteCpp and SOCI, all on files with the same settings.
#include <cstdio>
#include <stdexcept>

#include "sqlite/FileWorkload.h"
#include "sqlite/workloads.h"

namespace {

using bench::Harness;
using Settings = std::map<std::string, std::string>;

constexpr const char* kPragmas[] = {"journal_mode", "synchronous",  "foreign_keys",       "page_size",
                                    "cache_size",   "busy_timeout", "wal_autocheckpoint", "mmap_size",
                                    "temp_store",   "locking_mode"};

template <typename Store>
Settings readSettings(const std::string& path) {
  Store store;
  store.open(path);
  Settings settings;
  for (const char* pragma : kPragmas) settings[pragma] = store.first(std::string("pragma ") + pragma);
  store.close();
  return settings;
}

/// Reads the settings back through each interface; a comparison under different ones would say nothing.
void reportSettings(Harness& harness) {
  bench::DataFiles files(harness.options().directory, bench::kSampleTable);
  const std::string path = files.make();
  Settings settings = readSettings<bench::LibraryStore>(path);
  if (readSettings<bench::RawStore>(path) != settings ||
      readSettings<bench::SqliteCppStore>(path) != settings ||
      readSettings<bench::SociStore>(path) != settings) {
    throw std::runtime_error("the interfaces open the file with different settings");
  }
  settings["sqlite"] = sqlite3_libversion();
  settings["threading"] = "no mutex in a connection";
  harness.record("facts", "", {{"facts", settings}});
}

void measure(Harness& harness) {
  reportSettings(harness);
  measureReads(harness);
  measureFields(harness);
  measureCalls(harness);
  measureInserts(harness);
  measureMemory(harness);
  measureSessions(harness);
  measureThreads(harness);
  measureSweeps(harness);
}

}  // namespace

int main(int argc, char** argv) {
  // For the whole process, because SOCI has no setting for it: no connection takes a lock of its own.
  if (sqlite3_config(SQLITE_CONFIG_MULTITHREAD) != SQLITE_OK) {
    std::fprintf(stderr, "%s: SQLite was in use already\n", argv[0]);
    return 1;
  }
  if (argc == 5 && std::string(argv[1]) == "--memory-probe")
    return bench::probeMemory(argv[2], std::stoul(argv[3]), argv[4]);
  return Harness::runProgram(argc, argv, "sqlite", measure);
}
