// All rows of a table, read into typed variables.
#include "SampleCalls.h"
#include "sqlite/FileWorkload.h"
#include "sqlite/workloads.h"
#include "vorn/reader.h"
#include "vorn/rows.h"

namespace bench {

namespace {

constexpr const char* kSelect = "select id,text,level,ratio from sample";

void readThroughLibrary(LibraryStore& store, Checksum& checksum) {
  store.readRows(sampleSelector(), checksum);
}

void readThroughSoci(SociStore& store, Checksum& checksum) {
  SampleRow row;
  soci::statement statement = (store.session().prepare << kSelect, soci::into(row.id), soci::into(row.text),
                               soci::into(row.level), soci::into(row.ratio));
  statement.execute();
  while (statement.fetch()) checksum.add(row);
}

void readThroughSociInBulk(SociStore& store, Checksum& checksum) {
  constexpr std::size_t kRows = 1000;
  std::vector<long> ids(kRows);
  std::vector<std::string> texts(kRows);
  std::vector<int> levels(kRows);
  std::vector<double> ratios(kRows);
  soci::statement statement = (store.session().prepare << kSelect, soci::into(ids), soci::into(texts),
                               soci::into(levels), soci::into(ratios));
  statement.execute();
  while (statement.fetch()) {
    for (std::size_t i = 0; i < ids.size(); ++i) checksum.add(ids[i], texts[i], levels[i], ratios[i]);
    ids.resize(kRows);
    texts.resize(kRows);
    levels.resize(kRows);
    ratios.resize(kRows);
  }
}

using Range = vorn::Rows<long, std::string, int, double>;

void lookAtRows(LibraryStore& store, Checksum& checksum) {
  Range rows(store.database(), sampleSelector());
  for (auto&& [id, text, level, ratio] : rows) checksum.add(id, text, level, ratio);
  LibraryStore::check(rows.code());
}

void takeRows(LibraryStore& store, Checksum& checksum) {
  Range rows(store.database(), sampleSelector());
  for (auto [id, text, level, ratio] : rows) checksum.add(id, text, level, ratio);
  LibraryStore::check(rows.code());
}

void takeRowsOfReader(LibraryStore& store, Checksum& checksum) {
  CVORNReader reader;
  store.query(sampleSelector(), reader);
  while (reader.hasNextElement()) {
    SampleRow row;
    reader >> row.id >> row.text >> row.level >> row.ratio;
    checksum.add(row);
  }
}

}  // namespace

void measureReads(Harness& harness) {
  if (!harness.options().wants("read") && !harness.options().wants("range")) return;
  const std::size_t rows = harness.options().size(1'000'000);
  DataFiles files(harness.options().directory, kSampleTable,
                  [rows](RawStore& store) { store.insert(SampleRows::make(rows)); });
  FileWorkload read({"read", "typed rows", "row", rows}, files);
  const auto readRows = [](auto& store, Checksum& checksum) { store.readRows(kSelect, checksum); };
  read.add<LibraryStore>("vorn", readThroughLibrary);
  read.add<RawStore>("C interface", readRows);
  read.add<SqliteCppStore>("SQLiteCpp", readRows);
  read.add<SociStore>("SOCI", readThroughSoci);
  read.add<SociStore>("SOCI bulk", readThroughSociInBulk);
  harness.measure(read);

  FileWorkload looked({"range", "rows looked at", "row", rows}, files);
  looked.add<LibraryStore>("vorn, rows", lookAtRows);
  looked.add<LibraryStore>("vorn, reader", readThroughLibrary);
  harness.measure(looked);
  FileWorkload taken({"range", "rows taken over", "row", rows}, files);
  taken.add<LibraryStore>("vorn, rows", takeRows);
  taken.add<LibraryStore>("vorn, reader", takeRowsOfReader);
  harness.measure(taken);
}

}  // namespace bench
