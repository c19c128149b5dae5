// The library on PostgreSQL against libpq used by hand and libpqxx, on a server of the program's own.
#include "postgres/PostgresServer.h"

#include <map>
#include <pqxx/version.hxx>

#include "postgres/workloads.h"

namespace {

void measure(bench::Harness& harness) {
  const PostgresServer server(
      "synchronous_commit=off\nwal_level=minimal\nmax_wal_senders=0\nautovacuum=off\n");
  const std::map<std::string, std::string> facts{
      {"server", server.query("select version()")},
      {"libpq", std::to_string(PQlibVersion())},
      {"libpqxx", PQXX_VERSION},
      {"settings", "fsync=off, full_page_writes=off, synchronous_commit=off, loopback TCP"}};
  harness.record("facts", "", {{"facts", facts}});
  bench::ServerTable table(server.url());
  measureBatches(harness, table);
  measureReads(harness, table);
  measureCalls(harness, table);
  bench::LibraryStore::close();
}

}  // namespace

int main(int argc, char** argv) {
  return bench::Harness::runProgram(argc, argv, "postgres", measure);
}
