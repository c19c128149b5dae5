// Rows of many integers, and rows whose fields may be null, each with a marker.
#include <array>

#include "sqlite/FileWorkload.h"
#include "sqlite/workloads.h"
#include "vorn/reader.h"
#include "vorn/selector.h"

namespace bench {

namespace {

constexpr int kColumns = 20;
constexpr long kNull = -1;  // stands for a null in the checksum

struct FieldTable {
  std::string columns;
  CVORNSelector selector;

  FieldTable() {
    selector.table("fields");
    for (int column = 0; column < kColumns; ++column) {
      const std::string name = std::string("c").append(std::to_string(column));
      selector.select(name);
      columns.append(column == 0 ? "" : ",").append(name);
    }
  }

  /// @param valued  of two fields in a row that many are not null
  void fill(RawStore& store, std::size_t rows, int valued) const {
    std::string values;
    for (int column = 0; column < kColumns; ++column) {
      const std::string number = std::to_string(column);
      values.append(column == 0 ? "" : ",").append("iif((i+").append(number).append(")%2<");
      values.append(std::to_string(valued)).append(",i*").append(number).append("+7,null)");
    }
    store.execute("with recursive n(i) as (select 1 union all select i+1 from n where i<" +
                  std::to_string(rows) + ") insert into fields select " + values + " from n");
  }
};

/// Takes up a row. @param take  from the number of a column to its value
template <typename Take>
void addRow(Checksum& checksum, const Take& take) {
  std::array<long, kColumns> row;
  for (int column = 0; column < kColumns; ++column) row[static_cast<std::size_t>(column)] = take(column);
  for (std::size_t column = 0; column < row.size(); ++column)
    checksum.add(row[column] * static_cast<long>(column + 1));
}

template <bool kNulls>
void readThroughLibrary(LibraryStore& store, const FieldTable& table, Checksum& checksum) {
  CVORNReader reader;
  store.query(table.selector, reader);
  while (reader.hasNextElement()) {
    addRow(checksum, [&reader](int) {
      long value = 0;
      if constexpr (!kNulls) return reader >> value, value;
      CVORNNull none;
      reader >> none >> value;
      return none ? kNull : value;
    });
  }
}

template <bool kNulls>
void readByHand(RawStore& store, const std::string& text, Checksum& checksum) {
  const RawStore::Statement owner = store.prepare(text);
  sqlite3_stmt* const statement = owner.get();
  store.stepThrough(statement, [&] {
    addRow(checksum, [statement](int column) -> long {
      if (kNulls && sqlite3_column_type(statement, column) == SQLITE_NULL) return kNull;
      return sqlite3_column_int64(statement, column);
    });
  });
}

template <bool kNulls>
void readThroughSqliteCpp(SqliteCppStore& store, const std::string& text, Checksum& checksum) {
  SQLite::Statement statement(store.database(), text);
  while (statement.executeStep()) {
    addRow(checksum, [&statement](int index) -> long {
      const SQLite::Column column = statement.getColumn(index);
      return kNulls && column.isNull() ? kNull : column.getInt64();
    });
  }
}

template <bool kNulls>
void measureTable(Harness& harness, const char* name, int valued) {
  const FieldTable table;
  const std::string text = table.selector.toString();
  const std::size_t rows = harness.options().size(200'000);
  DataFiles files(harness.options().directory, "create table fields (" + table.columns + ")",
                  [&](RawStore& store) { table.fill(store, rows, valued); });
  FileWorkload workload({"fields", name, "row", rows}, files);
  workload.add<LibraryStore>("vorn", [&](LibraryStore& store, Checksum& checksum) {
    readThroughLibrary<kNulls>(store, table, checksum);
  });
  workload.add<RawStore>(
      "C interface", [&](RawStore& store, Checksum& checksum) { readByHand<kNulls>(store, text, checksum); });
  workload.add<SqliteCppStore>("SQLiteCpp", [&](SqliteCppStore& store, Checksum& checksum) {
    readThroughSqliteCpp<kNulls>(store, text, checksum);
  });
  harness.measure(workload);
}

}  // namespace

void measureFields(Harness& harness) {
  if (!harness.options().wants("fields")) return;
  measureTable<false>(harness, "20 integers", 2);
  measureTable<true>(harness, "10 integers and 10 nulls, with markers", 1);
  measureTable<true>(harness, "20 nulls, with markers", 0);
}

}  // namespace bench
