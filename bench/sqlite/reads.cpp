// Rows read into typed variables: all of a table, and one by its primary key.
#include <random>

#include "sqlite/FileWorkload.h"
#include "sqlite/workloads.h"
#include "vorn/selector.h"

namespace bench {

namespace {

constexpr const char* kSelect = "select id,text,level,ratio from sample";

using Keys = std::vector<int>;

/// The look-ups of one round, their texts rendered before it begins.
struct Lookups {
  Keys keys;
  std::vector<std::string> texts;
  std::vector<CVORNsqlstr> statements;

  explicit Lookups(Keys wanted) : keys(std::move(wanted)) {
    for (const int key : keys) {
      CVORNSelector selector;
      const CVORNTable sample = selector.table("sample");
      for (const char* column : {"id", "text", "level", "ratio"}) selector.select(column);
      selector.where(sample["id"] == key);
      texts.push_back(selector.toString());
      statements.emplace_back().assign(texts.back());
    }
  }
};

void readThroughLibrary(LibraryStore& store, Checksum& checksum) {
  CVORNSelector selector;
  selector.table("sample");
  for (const char* column : {"id", "text", "level", "ratio"}) selector.select(column);
  store.readRows(selector, checksum);
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

void measureAllRows(Harness& harness) {
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
}

void lookUpBound(RawStore& store, const Keys& keys, Checksum& checksum) {
  const RawStore::Statement statement =
      store.prepare("select id,text,level,ratio from sample where (sample.id=?)");
  for (const int key : keys) {
    store.bind(statement.get(), 1, static_cast<long>(key));
    store.readRows(statement.get(), checksum);
    store.check(sqlite3_reset(statement.get()));
  }
}

void lookUpThroughSoci(SociStore& store, const std::vector<std::string>& texts, Checksum& checksum) {
  SampleRow row;
  for (const std::string& text : texts) {
    store.session() << text, soci::into(row.id), soci::into(row.text), soci::into(row.level),
        soci::into(row.ratio);
    checksum.add(row);
  }
}

void measureLookups(Harness& harness, DataFiles& files, const char* name, Keys keys) {
  const Lookups lookups(std::move(keys));
  FileWorkload workload({"lookup", name, "look-up", lookups.keys.size()}, files);
  const auto readEach = [&](auto& store, Checksum& checksum) {
    for (const std::string& text : lookups.texts) store.readRows(text, checksum);
  };
  workload.add<LibraryStore>("vorn", [&](LibraryStore& store, Checksum& checksum) {
    for (const CVORNsqlstr& statement : lookups.statements) store.readRows(statement, checksum);
  });
  workload.add<RawStore>("C, prepared each time", readEach);
  workload.add<RawStore>("C, prepared once, bound", [&](RawStore& store, Checksum& checksum) {
    lookUpBound(store, lookups.keys, checksum);
  });
  workload.add<SqliteCppStore>("SQLiteCpp", readEach);
  workload.add<SociStore>("SOCI", [&](SociStore& store, Checksum& checksum) {
    lookUpThroughSoci(store, lookups.texts, checksum);
  });
  harness.measure(workload);
}

void measureAllLookups(Harness& harness) {
  constexpr int kRows = 100'000;
  DataFiles files(harness.options().directory, kSampleTable,
                  [](RawStore& store) { store.insert(SampleRows::make(kRows)); });
  const std::size_t count = harness.options().size(50'000);
  measureLookups(harness, files, "same text", Keys(count, kRows / 2));

  std::mt19937 random(7);
  Keys keys;
  for (std::size_t i = 0; i < count; ++i) keys.push_back(static_cast<int>(random() % kRows) + 1);
  measureLookups(harness, files, "changing text", keys);

  for (std::size_t i = 0; i < count; ++i) keys[i] = static_cast<int>(i % 32) * 1000 + 1;
  measureLookups(harness, files, "32 texts in turn", keys);
}

}  // namespace

void measureReads(Harness& harness) {
  if (harness.options().wants("read")) measureAllRows(harness);
  if (harness.options().wants("lookup")) measureAllLookups(harness);
}

}  // namespace bench
