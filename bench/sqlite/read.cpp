// Rows read into typed variables.
#include "LibraryRows.h"
#include "sqlite/FileCompetitor.h"
#include "sqlite/workloads.h"
#include "vorn/selector.h"

namespace bench {

namespace {

constexpr const char* kSelect = "select id,text,level,ratio from sample";

std::uint64_t readThroughLibrary(LibraryStore& store) {
  CVORNSelector selector;
  selector.table("sample");
  for (const char* column : {"id", "text", "level", "ratio"}) selector.select(column);
  CVORNReader reader;
  LibraryStore::check(store.db().execReadSQL(selector, reader));
  Checksum checksum;
  addRows(reader, checksum);
  return checksum.value();
}

std::uint64_t readRaw(RawStore& store) {
  const RawStore::Statement statement = store.prepare(kSelect);
  Checksum checksum;
  std::string text;
  int code = SQLITE_ROW;
  while ((code = sqlite3_step(statement.get())) == SQLITE_ROW) {
    const long id = sqlite3_column_int64(statement.get(), 0);
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 1));
    text.assign(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), 1)));
    const int level = sqlite3_column_int(statement.get(), 2);
    const double ratio = sqlite3_column_double(statement.get(), 3);
    checksum.add(id, text, level, ratio);
  }
  store.check(code, SQLITE_DONE);
  return checksum.value();
}

std::uint64_t readThroughSqliteCpp(SqliteCppStore& store) {
  SQLite::Statement statement(store.database(), kSelect);
  Checksum checksum;
  while (statement.executeStep()) {
    const long id = statement.getColumn(0).getInt64();
    const std::string text = statement.getColumn(1).getString();
    const int level = statement.getColumn(2).getInt();
    const double ratio = statement.getColumn(3).getDouble();
    checksum.add(id, text, level, ratio);
  }
  return checksum.value();
}

std::uint64_t readThroughSoci(SociStore& store) {
  Checksum checksum;
  long id = 0;
  std::string text;
  int level = 0;
  double ratio = 0;
  soci::statement statement = (store.session().prepare << kSelect, soci::into(id), soci::into(text),
                               soci::into(level), soci::into(ratio));
  statement.execute();
  while (statement.fetch()) checksum.add(id, text, level, ratio);
  return checksum.value();
}

std::uint64_t readThroughSociInBulk(SociStore& store) {
  constexpr std::size_t kRows = 1000;
  Checksum checksum;
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
  return checksum.value();
}

}  // namespace

void measureRead(Harness& harness, Scratch& scratch) {
  const std::size_t rows = harness.options().size(1'000'000);
  DataFiles files(scratch, kSampleTable,
                  [rows](RawStore& store) { insertPrepared(store, SampleRows::make(rows)); });
  Workload read{"read", "typed rows", "row", static_cast<double>(rows)};
  read.parameters["rows"] = read.operations;
  const auto no = InTransaction::No;
  read.add<FileCompetitor<LibraryStore>>("vorn", files, no, "", readThroughLibrary);
  read.add<FileCompetitor<RawStore>>("C interface", files, no, "", readRaw);
  read.add<FileCompetitor<SqliteCppStore>>("SQLiteCpp", files, no, "", readThroughSqliteCpp);
  read.add<FileCompetitor<SociStore>>("SOCI", files, no, "", readThroughSoci);
  read.add<FileCompetitor<SociStore>>("SOCI bulk", files, no, "", readThroughSociInBulk);
  harness.measure(read);
}

}  // namespace bench
