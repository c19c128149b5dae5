// Short reads repeated: one row by its primary key.
#include <random>

#include "SampleRows.h"
#include "sqlite/FileCompetitor.h"
#include "sqlite/workloads.h"
#include "vorn/reader.h"
#include "vorn/selector.h"
#include "vorn/statement.h"

namespace bench {

namespace {

using Keys = std::vector<int>;

std::string renderLookup(int key) {
  CVORNSelector selector;
  const CVORNTable sample = selector.table("sample");
  for (const char* column : {"id", "text", "level", "ratio"}) selector.select(column);
  selector.where(sample["id"] == key);
  return selector.toString();
}

/// The look-ups of one round, their texts rendered before it begins.
struct Lookups {
  Keys keys;
  std::vector<std::string> texts;
  std::vector<CVORNsqlstr> statements;

  explicit Lookups(Keys wanted) : keys(std::move(wanted)) {
    for (const int key : keys) {
      texts.push_back(renderLookup(key));
      statements.emplace_back().assign(texts.back());
    }
  }
};

struct Fields {
  long id = 0;
  std::string text;
  int level = 0;
  double ratio = 0;
};

void takeRow(sqlite3_stmt* statement, Fields& row, Checksum& checksum) {
  row.id = sqlite3_column_int64(statement, 0);
  row.text.assign(reinterpret_cast<const char*>(sqlite3_column_text(statement, 1)),
                  static_cast<std::size_t>(sqlite3_column_bytes(statement, 1)));
  row.level = sqlite3_column_int(statement, 2);
  row.ratio = sqlite3_column_double(statement, 3);
  checksum.add(row.id, row.text, row.level, row.ratio);
}

void readOne(LibraryStore& store, const CVORNBase& statement, Fields& row, Checksum& checksum) {
  CVORNReader reader;
  LibraryStore::check(store.db().execReadSQL(statement, reader));
  while (reader.hasNextElement()) {
    reader >> row.id >> row.text >> row.level >> row.ratio;
    checksum.add(row.id, row.text, row.level, row.ratio);
  }
}

std::uint64_t throughLibrary(LibraryStore& store, const Lookups& lookups) {
  Checksum checksum;
  Fields row;
  for (const CVORNsqlstr& statement : lookups.statements) readOne(store, statement, row, checksum);
  return checksum.value();
}

std::uint64_t prepareEach(RawStore& store, const Lookups& lookups) {
  Checksum checksum;
  Fields row;
  for (const std::string& text : lookups.texts) {
    const RawStore::Statement statement = store.prepare(text);
    while (sqlite3_step(statement.get()) == SQLITE_ROW) takeRow(statement.get(), row, checksum);
  }
  return checksum.value();
}

std::uint64_t bindOne(RawStore& store, const Lookups& lookups) {
  Checksum checksum;
  Fields row;
  const RawStore::Statement statement =
      store.prepare("select id,text,level,ratio from sample where (sample.id=?)");
  for (const int key : lookups.keys) {
    store.check(sqlite3_bind_int64(statement.get(), 1, key));
    while (sqlite3_step(statement.get()) == SQLITE_ROW) takeRow(statement.get(), row, checksum);
    store.check(sqlite3_reset(statement.get()));
  }
  return checksum.value();
}

std::uint64_t throughSqliteCpp(SqliteCppStore& store, const Lookups& lookups) {
  Checksum checksum;
  for (const std::string& text : lookups.texts) {
    SQLite::Statement statement(store.database(), text);
    while (statement.executeStep()) {
      checksum.add(statement.getColumn(0).getInt64(), statement.getColumn(1).getString(),
                   statement.getColumn(2).getInt(), statement.getColumn(3).getDouble());
    }
  }
  return checksum.value();
}

std::uint64_t throughSoci(SociStore& store, const Lookups& lookups) {
  Checksum checksum;
  Fields row;
  for (const std::string& text : lookups.texts) {
    store.session() << text, soci::into(row.id), soci::into(row.text), soci::into(row.level),
        soci::into(row.ratio);
    checksum.add(row.id, row.text, row.level, row.ratio);
  }
  return checksum.value();
}

void measureLookups(Harness& harness, DataFiles& files, const char* name, Keys keys) {
  const Lookups lookups(std::move(keys));
  Workload workload{"lookup", name, "look-up", static_cast<double>(lookups.keys.size())};
  const auto add = [&](auto store, const char* title, auto function) {
    using Store = decltype(store);
    workload.add<FileCompetitor<Store>>(
        title, files, InTransaction::No, "",
        [&lookups, function](Store& opened) { return function(opened, lookups); });
  };
  add(LibraryStore(), "vorn", throughLibrary);
  add(RawStore(), "C, prepared each time", prepareEach);
  add(RawStore(), "C, prepared once, bound", bindOne);
  add(SqliteCppStore(), "SQLiteCpp", throughSqliteCpp);
  add(SociStore(), "SOCI", throughSoci);
  harness.measure(workload);
}

}  // namespace

void measureLookup(Harness& harness, Scratch& scratch) {
  constexpr int kRows = 100'000;
  DataFiles files(scratch, kSampleTable,
                  [](RawStore& store) { insertPrepared(store, SampleRows::make(kRows)); });
  const std::size_t count = harness.options().size(50'000);
  measureLookups(harness, files, "same text", Keys(count, kRows / 2));

  std::mt19937 random(7);
  Keys keys;
  for (std::size_t i = 0; i < count; ++i) keys.push_back(static_cast<int>(random() % kRows) + 1);
  measureLookups(harness, files, "changing text", keys);

  for (std::size_t i = 0; i < count; ++i) keys[i] = static_cast<int>(i % 32) * 1000 + 1;
  measureLookups(harness, files, "32 texts in turn", keys);
}

}  // namespace bench
