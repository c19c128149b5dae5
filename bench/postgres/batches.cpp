// Batches of many rows and of few, against COPY and one insert of several rows, both by hand.
#include "BatchRows.h"
#include "postgres/PqxxStore.h"
#include "postgres/workloads.h"

namespace bench {

namespace {

constexpr const char* kInsert = "insert into sample (id,text,level,ratio) values";

void copyThroughPqxx(PqxxStore& store, const SampleRows& rows) {
  store.begin();
  pqxx::stream_to stream(store.transaction(), "sample",
                         std::vector<std::string>{"id", "text", "level", "ratio"});
  for (std::size_t row = 0; row < rows.size(); ++row) {
    stream << std::make_tuple(rows.ids[row], rows.texts[row], rows.levels[row], rows.ratios[row]);
  }
  stream.complete();
  store.commit();
}

/// @return one insert of all rows, rendered
std::string renderInsert(const SampleRows& rows) {
  std::string text = kInsert;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    text.append(row == 0 ? "(" : ",(").append(std::to_string(rows.ids[row])).append(",'");
    text.append(rows.texts[row]).append("',").append(std::to_string(rows.levels[row])).append(",");
    text.append(std::to_string(rows.ratios[row])).append(")");
  }
  return text;
}

/// @return one insert of `rows` rows, with parameters
std::string parameterInsert(std::size_t rows) {
  std::string text = kInsert;
  for (std::size_t parameter = 1; parameter <= 4 * rows; ++parameter) {
    text.append(parameter == 1 ? "($" : parameter % 4 == 1 ? "),($" : ",$").append(std::to_string(parameter));
  }
  return text + ")";
}

void insertPrepared(LibpqStore& store, const SampleRows& rows, std::size_t times) {
  const std::string name = store.prepare(parameterInsert(rows.size()));
  TextParameters parameters(4 * rows.size());
  Checksum none;
  for (std::size_t i = 0; i < times; ++i) {
    parameters.clear();
    for (std::size_t row = 0; row < rows.size(); ++row) {
      parameters.add(rows.ids[row]);
      parameters.add(rows.texts[row]);
      parameters.add(rows.levels[row]);
      parameters.add(rows.ratios[row]);
    }
    store.run(name, parameters, none);
  }
}

void measureSmall(Harness& harness, ServerTable& table, InTransaction around, std::size_t size) {
  const SampleRows rows = SampleRows::make(size);
  const BatchInserter batch = makeBatch(rows);
  const std::string text = renderInsert(rows);
  const std::size_t times = harness.options().size(std::min<std::size_t>(500, 20'000 / size));
  const std::string panel = around == InTransaction::Yes ? "in a transaction" : "by itself";
  StoreWorkload workload =
      table.onFresh({"small", panel + ": " + std::to_string(size), "row", times * size}, 0);
  workload.panel = panel;
  workload.x = size;
  workload.around = around;
  workload.add<LibraryStore>("vorn", [&](LibraryStore& store, Checksum&) {
    for (std::size_t i = 0; i < times; ++i) store.execute(batch);
  });
  workload.add<LibpqStore>("libpq, one insert, PQexec", [&](LibpqStore& store, Checksum&) {
    for (std::size_t i = 0; i < times; ++i) store.execute(text);
  });
  workload.add<LibpqStore>("libpq, one insert, prepared once",
                           [&](LibpqStore& store, Checksum&) { insertPrepared(store, rows, times); });
  workload.add<LibpqStore>("libpq, COPY by hand", [&](LibpqStore& store, Checksum&) {
    for (std::size_t i = 0; i < times; ++i) store.copy(rows);
  });
  harness.measure(workload);
}

void measureBulk(Harness& harness, ServerTable& table) {
  const SampleRows rows = SampleRows::make(harness.options().size(200'000));
  const BatchInserter batch = makeBatch(rows);
  StoreWorkload workload = table.onFresh({"batch", "typed rows", "row", rows.size()}, 0);
  workload.add<LibraryStore>("vorn", [&](LibraryStore& store, Checksum&) { store.execute(batch); });
  workload.add<LibpqStore>("libpq, COPY by hand", [&](LibpqStore& store, Checksum&) { store.copy(rows); });
  workload.add<PqxxStore>("libpqxx, stream_to",
                          [&](PqxxStore& store, Checksum&) { copyThroughPqxx(store, rows); });
  harness.measure(workload);
}

}  // namespace

void measureBatches(Harness& harness, ServerTable& table) {
  if (harness.options().wants("batch")) measureBulk(harness, table);
  if (!harness.options().wants("small")) return;
  for (const auto around : {InTransaction::Yes, InTransaction::No}) {
    for (const std::size_t size : {1U, 2U, 5U, 10U, 20U, 50U, 100U, 200U, 500U, 1000U})
      measureSmall(harness, table, around, size);
  }
}

}  // namespace bench
