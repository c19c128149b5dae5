// The library on SQLite against the C interface, SQLiteCpp and SOCI, all on files with the same settings.
#include <sqlite3.h>

#include <stdexcept>

#include "Harness.h"
#include "Program.h"
#include "sqlite/Scratch.h"
#include "sqlite/workloads.h"

namespace {

using bench::DataFiles;
using bench::Harness;
using bench::Options;
using bench::Reporter;
using bench::Scratch;

constexpr const char* kPragmas[] = {"journal_mode", "synchronous",  "foreign_keys",       "page_size",
                                    "cache_size",   "busy_timeout", "wal_autocheckpoint", "mmap_size",
                                    "temp_store",   "locking_mode"};

template <typename Store>
std::map<std::string, std::string> readSettings(const std::string& path) {
  Store store;
  store.open(path);
  std::map<std::string, std::string> settings;
  for (const char* pragma : kPragmas) settings[pragma] = store.first(std::string("pragma ") + pragma);
  store.close();
  return settings;
}

/// Reads the settings back through each interface; a comparison under different ones would say nothing.
void reportSettings(Reporter& reporter, Scratch& scratch, int rounds) {
  DataFiles files(scratch, bench::kSampleTable);
  const std::string path = files.make();
  auto settings = readSettings<bench::LibraryStore>(path);
  if (readSettings<bench::RawStore>(path) != settings ||
      readSettings<bench::SqliteCppStore>(path) != settings ||
      readSettings<bench::SociStore>(path) != settings) {
    throw std::runtime_error("the interfaces open the file with different settings");
  }
  settings["sqlite"] = sqlite3_libversion();
  settings["threading"] = "no mutex in a connection";
  settings["rounds"] = std::to_string(rounds);
  reporter.reportFacts(settings);
}

void measureAll(Harness& harness, Scratch& scratch) {
  const Options& options = harness.options();
  if (options.wants("read")) measureRead(harness, scratch);
  if (options.wants("write")) measureWrite(harness, scratch);
  if (options.wants("batch")) measureBatch(harness, scratch);
  if (options.wants("fill")) measureFill(harness);
  if (options.wants("memory")) measureMemory(harness);
  if (options.wants("session")) measureSession(harness, scratch);
  if (options.wants("lookup")) measureLookup(harness, scratch);
  if (options.wants("threads")) measureThreads(harness, scratch);
  if (options.wants("rows")) measureRowSweep(harness, scratch);
  if (options.wants("columns")) measureColumnSweep(harness, scratch);
  if (options.wants("text")) measureTextSweep(harness, scratch);
}

int run(int argc, char** argv) {
  // For the whole process, because SOCI has no setting for it: no connection takes a lock of its own.
  if (sqlite3_config(SQLITE_CONFIG_MULTITHREAD) != SQLITE_OK)
    throw std::runtime_error("SQLite was in use already");
  if (argc == 5 && std::string(argv[1]) == "--memory-probe") {
    return bench::probeMemory(argv[2], std::stoul(argv[3]), argv[4]);
  }
  const Options options = Options::parse(argc, argv);
  Scratch scratch(options.directory);
  Reporter reporter("sqlite", options.json);
  reportSettings(reporter, scratch, options.rounds);
  Harness harness(options, reporter);
  measureAll(harness, scratch);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return bench::runProgram(argc, argv, run);
}
