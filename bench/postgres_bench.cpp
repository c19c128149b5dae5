// The library on PostgreSQL against libpq used by hand and libpqxx, on a server of the program's own.
#include "postgres/PostgresServer.h"

#include <atomic>
#include <deque>
#include <pqxx/pqxx>
#include <tuple>

#include "BatchRows.h"
#include "Harness.h"
#include "LibraryStore.h"
#include "Threads.h"
#include "postgres/LibpqStore.h"

namespace {

using bench::Checksum;
using bench::Harness;
using bench::LibpqStore;
using bench::LibraryStore;
using bench::SampleRows;
using bench::Workload;

constexpr const char* kAllRows = "select id, text, level, ratio from sample";

std::string lookup(std::size_t thread, std::size_t call) {
  const std::size_t id = (thread * 12345 + call * 7) % 100000 + 1;
  return std::string(kAllRows) + " where id = " + std::to_string(id);
}

void copyThroughPqxx(pqxx::connection& connection, const SampleRows& rows) {
  pqxx::work transaction(connection);
  pqxx::stream_to stream(transaction, "sample", std::vector<std::string>{"id", "text", "level", "ratio"});
  for (std::size_t row = 0; row < rows.size(); ++row) {
    stream << std::make_tuple(rows.ids[row], rows.texts[row], rows.levels[row], rows.ratios[row]);
  }
  stream.complete();
  transaction.commit();
}

void readThroughPqxx(pqxx::connection& connection, Checksum& checksum) {
  pqxx::work transaction(connection);
  for (const pqxx::row& row : transaction.exec(kAllRows)) {
    checksum.add(row[0].as<long>(), row[1].as<std::string>(), row[2].as<int>(), row[3].as<double>());
  }
}

void measureBatch(Harness& harness, LibpqStore& libpq, pqxx::connection& pqxx) {
  const SampleRows rows = SampleRows::make(harness.options().size(200000));
  const BatchInserter batch = bench::makeBatch(rows);
  LibraryStore library;
  const auto empty = [&] { libpq.execute("truncate sample"); };
  Workload workload{"batch", "typed rows", "row", rows.size()};
  workload.competitors.push_back({"vorn", [&](auto&) { library.execute(batch); }, empty});
  workload.competitors.push_back({"libpq, COPY by hand", [&](auto&) { libpq.copy(rows); }, empty});
  workload.competitors.push_back({"libpqxx, stream_to", [&](auto&) { copyThroughPqxx(pqxx, rows); }, empty});
  harness.measure(workload);
}

void fill(LibpqStore& libpq, std::size_t count) {
  libpq.execute("truncate sample");
  libpq.copy(SampleRows::make(count));
  libpq.execute("create index on sample (id)");
  libpq.execute("vacuum analyze sample");
}

void measureRead(Harness& harness, LibpqStore& libpq, pqxx::connection& pqxx) {
  const std::size_t count = harness.options().size(500000);
  fill(libpq, count);
  LibraryStore library;
  Workload workload{"read", "typed rows", "row", count};
  workload.competitors.push_back({"vorn", [&](Checksum& checksum) { library.readRows(kAllRows, checksum); }});
  workload.competitors.push_back(
      {"libpq, single-row mode", [&](Checksum& checksum) { libpq.readRows(kAllRows, checksum); }});
  workload.competitors.push_back(
      {"libpqxx, exec", [&](Checksum& checksum) { readThroughPqxx(pqxx, checksum); }});
  harness.measure(workload);
}

/// Adds a competitor whose threads look one row up at a time. @param readOne  (thread, text, checksum)
template <typename Read>
void addLookups(Workload& workload, const char* name, std::size_t threads, const Read& readOne) {
  const std::size_t calls = workload.operations / threads;
  workload.competitors.push_back({name, [=](Checksum& checksum) {
                                    std::atomic<long> sum = 0;
                                    bench::runThreads(threads, [&](std::size_t thread) {
                                      Checksum own;
                                      for (std::size_t call = 0; call < calls; ++call)
                                        readOne(thread, lookup(thread, call), own);
                                      sum += static_cast<long>(own.value());
                                    });
                                    checksum.add(sum.load());
                                  }});
}

void measureThreads(Harness& harness, LibpqStore& libpq, const std::string& url) {
  constexpr std::size_t kThreads = 8;
  fill(libpq, 100000);
  std::deque<LibraryStore> library(kThreads);
  std::vector<LibpqStore> connections;
  for (std::size_t thread = 0; thread < kThreads; ++thread) connections.emplace_back(url);
  Workload workload{"threads", "look-ups by key", "call", harness.options().size(5000) * kThreads};
  addLookups(workload, "vorn", kThreads, [&](std::size_t thread, const std::string& text, Checksum& sum) {
    library[thread].readRows(text, sum);
  });
  addLookups(workload, "libpq, a connection a thread", kThreads,
             [&](std::size_t thread, const std::string& text, Checksum& sum) {
               connections[thread].readOne(text, sum);
             });
  harness.measure(workload);
}

void measure(Harness& harness) {
  const PostgresServer server(
      "synchronous_commit=off\nwal_level=minimal\nmax_wal_senders=0\nautovacuum=off\n");
  const std::map<std::string, std::string> facts{
      {"server", server.query("select version()")},
      {"libpq", std::to_string(PQlibVersion())},
      {"libpqxx", PQXX_VERSION},
      {"settings", "fsync=off, full_page_writes=off, synchronous_commit=off, loopback TCP"}};
  harness.record("facts", "", {{"facts", facts}});
  LibpqStore libpq(server.url());
  pqxx::connection pqxx(server.url());
  LibraryStore::bind(server.url());
  libpq.execute("create table sample (id bigint, text text, level integer, ratio double precision)");
  if (harness.options().wants("batch")) measureBatch(harness, libpq, pqxx);
  if (harness.options().wants("read")) measureRead(harness, libpq, pqxx);
  if (harness.options().wants("threads")) measureThreads(harness, libpq, server.url());
  LibraryStore::close();
}

}  // namespace

int main(int argc, char** argv) {
  return Harness::runProgram(argc, argv, "postgres", measure);
}
