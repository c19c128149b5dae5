// The library on MariaDB against Connector/C used by hand and SOCI, on a server of the program's own.
#include "BatchRows.h"
#include "Harness.h"
#include "SampleCalls.h"
#include "StoreWorkload.h"
#include "TextCalls.h"
#include "mariadb/ConnectorStore.h"
#include "mariadb/MariaDbServer.h"
#include "mariadb/SociMysqlStore.h"

namespace bench {

namespace {

/// The sample table on a server, and workloads on it.
class MariaDbTable {
 public:
  explicit MariaDbTable(const MariaDbServer& server)
      : m_url(server.url()), m_host("mariadb://" + server.host()) {
    m_connector.open(m_host);
    m_connector.execute(
        "create table sample (id bigint primary key, text text, level integer, ratio double)");
  }

  void fill(std::size_t rows) {
    m_connector.execute("truncate sample");
    if (rows > 0) m_connector.insert(SampleRows::make(rows));
  }

  /// @return a workload on the table as it is
  StoreWorkload onTable(Workload workload) const {
    StoreWorkload result(std::move(workload));
    result.makeData = [this] { return Place(m_url); };
    result.staysOpen = true;
    result.dropData = [](const Place&) {};
    return result;
  }

  /// @return a workload that fills the table
  StoreWorkload onEmpty(Workload workload) {
    StoreWorkload result = onTable(std::move(workload));
    result.makeData = [this] {
      fill(0);
      return Place(m_url);
    };
    result.verification = kSampleVerification;
    return result;
  }

 private:
  const std::string m_url;
  const std::string m_host;
  ConnectorStore m_connector;
};

void measureBatches(Harness& harness, MariaDbTable& table) {
  const SampleRows rows = SampleRows::make(harness.options().size(200'000));
  const BatchInserter batch = makeBatch(rows);
  StoreWorkload workload = table.onEmpty({"batch", "typed rows", "row", rows.size()});
  workload.add<LibraryStore>("vorn", [&](LibraryStore& store, Checksum&) { store.execute(batch); });
  workload.add<ConnectorStore>("Connector/C, bound by column",
                               [&](ConnectorStore& store, Checksum&) { store.insert(rows); });
  workload.add<SociMysqlStore>("SOCI, bulk", [&](SociMysqlStore& store, Checksum&) { store.insert(rows); });
  harness.measure(workload);
}

void measureReads(Harness& harness, MariaDbTable& table) {
  static constexpr const char* kSelect = "select id, text, level, ratio from sample";
  const std::size_t rows = harness.options().size(500'000);
  table.fill(rows);
  StoreWorkload workload = table.onTable({"read", "typed rows", "row", rows});
  workload.add<LibraryStore>(
      "vorn", [](LibraryStore& store, Checksum& checksum) { store.readRows(kSelect, checksum); });
  workload.add<ConnectorStore>(
      "Connector/C, mysql_use_result",
      [](ConnectorStore& store, Checksum& checksum) { store.readRows(kSelect, checksum); });
  harness.measure(workload);
}

void measureCalls(Harness& harness, MariaDbTable& table) {
  const std::size_t count = harness.options().size(5'000);
  const std::size_t rows = harness.options().size(20'000);
  table.fill(rows);
  StoreWorkload workload = table.onTable({"calls", "select by key", "call", count});
  const auto lookups = makeLookups(count, ScatteredKeys{rows});
  workload.addCalls<TextCalls<LibraryStore>>("vorn", lookups);
  workload.addCalls<BuilderCalls>("vorn, with rendering", lookups);
  workload.addCalls<ConnectorPrepared>("Connector/C, prepared once", lookups);
  workload.addCalls<TextCalls<ConnectorStore>>("Connector/C, text", lookups);
  harness.measure(workload);
}

void measure(Harness& harness) {
  const MariaDbServer server("innodb_buffer_pool_size=256M\ninnodb_log_file_size=256M\n");
  const std::map<std::string, std::string> facts{
      {"server", server.query("select version()")},
      {"Connector/C", mysql_get_client_info()},
      {"settings", "innodb_flush_log_at_trx_commit=2, innodb_flush_method=nosync, loopback TCP"}};
  server.query("create user bench identified by 'bench'; grant all on *.* to bench");
  harness.record("facts", "", {{"facts", facts}});
  MariaDbTable table(server);
  if (harness.options().wants("batch")) measureBatches(harness, table);
  if (harness.options().wants("read")) measureReads(harness, table);
  if (harness.options().wants("calls")) measureCalls(harness, table);
  LibraryStore::close();
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv) {
  return bench::Harness::runProgram(argc, argv, "mariadb", bench::measure);
}
