// Throughput by the number of rows, by the number of columns and by the length of texts.
#include "SampleRows.h"
#include "sqlite/FileCompetitor.h"
#include "sqlite/workloads.h"
#include "vorn/batch_inserter.h"
#include "vorn/reader.h"
#include "vorn/selector.h"

namespace bench {

namespace {

enum class Kind { Integer, Text, Real };

struct Column {
  std::string name;
  Kind kind;
  std::vector<long> integers;
  std::vector<std::string> texts;
  std::vector<double> reals;
};

/// A table of any shape, its values and the statements that all competitors use.
struct Table {
  std::vector<Column> columns;
  std::size_t rows;  ///< a statement
  std::size_t statements;

  Table(const std::vector<Kind>& kinds, std::size_t rowCount, std::size_t textLength,
        std::size_t statementCount)
      : rows(rowCount), statements(statementCount) {
    for (std::size_t i = 0; i < kinds.size(); ++i) {
      Column& column = columns.emplace_back();
      column.name.append("c").append(std::to_string(i));
      column.kind = kinds[i];
      for (std::size_t row = 0; row < rows; ++row) {
        if (column.kind == Kind::Integer) column.integers.push_back(static_cast<long>(row));
        if (column.kind == Kind::Text) column.texts.push_back(sampleText(row, textLength));
        if (column.kind == Kind::Real) column.reals.push_back(static_cast<double>(row % 4096) * 0.25);
      }
    }
  }

  std::string schema() const { return "create table wide (" + names() + ")"; }
  std::string insertText() const {
    std::string marks;
    for (std::size_t i = 0; i < columns.size(); ++i) marks += i == 0 ? "?" : ",?";
    return "insert into wide (" + names() + ") values(" + marks + ")";
  }
  std::string verification() const { return "select count(*) || '/' || sum(length(c0)) from wide"; }

  BatchInserter batch() const {
    BatchInserter result;
    result.table("wide");
    for (const Column& column : columns) {
      result[column.name];
      for (const long value : column.integers) result << value;
      for (const std::string& value : column.texts) result << value;
      for (const double value : column.reals) result << value;
    }
    return result;
  }

  CVORNSelector selector() const {
    CVORNSelector result;
    result.table("wide");
    for (const Column& column : columns) result.select(column.name);
    result.limit(static_cast<unsigned int>(rows), 0);
    return result;
  }

 private:
  std::string names() const {
    std::string text;
    for (const Column& column : columns) text.append(text.empty() ? "" : ",").append(column.name);
    return text;
  }
};

void bindRow(RawStore& store, sqlite3_stmt* statement, const Table& table, std::size_t row) {
  int parameter = 0;
  for (const Column& column : table.columns) {
    ++parameter;
    if (column.kind == Kind::Integer) {
      store.check(sqlite3_bind_int64(statement, parameter, column.integers[row]));
    } else if (column.kind == Kind::Text) {
      const std::string& text = column.texts[row];
      store.check(
          sqlite3_bind_text(statement, parameter, text.data(), static_cast<int>(text.size()), SQLITE_STATIC));
    } else {
      store.check(sqlite3_bind_double(statement, parameter, column.reals[row]));
    }
  }
}

void insertRows(RawStore& store, sqlite3_stmt* statement, const Table& table) {
  for (std::size_t row = 0; row < table.rows; ++row) {
    bindRow(store, statement, table, row);
    store.check(sqlite3_step(statement), SQLITE_DONE);
    store.check(sqlite3_reset(statement));
  }
}

/// Calls `use` with a statement for each repetition, the same one or a new one each time.
template <typename Use>
void repeat(RawStore& store, const Table& table, const std::string& text, bool keep, const Use& use) {
  RawStore::Statement statement = store.prepare(text);
  for (std::size_t i = 0; i < table.statements; ++i) {
    if (i > 0 && !keep) statement = store.prepare(text);
    use(statement.get());
    store.check(sqlite3_reset(statement.get()));
  }
}

/// Variables that a row is read into.
struct Target {
  long integer = 0;
  std::string text;
  double real = 0;
  std::uint64_t sum = 0;
};

void takeRow(sqlite3_stmt* statement, const Table& table, Target& target) {
  int index = 0;
  for (const Column& column : table.columns) {
    if (column.kind == Kind::Integer) {
      target.integer = sqlite3_column_int64(statement, index);
      target.sum += static_cast<std::uint64_t>(target.integer);
    } else if (column.kind == Kind::Text) {
      const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, index));
      target.text.assign(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, index)));
      target.sum += target.text.size();
    } else {
      target.real = sqlite3_column_double(statement, index);
      target.sum += static_cast<std::uint64_t>(target.real * 4);
    }
    ++index;
  }
}

void takeRow(CVORNReader& reader, const Table& table, Target& target) {
  for (const Column& column : table.columns) {
    if (column.kind == Kind::Integer) {
      reader >> target.integer;
      target.sum += static_cast<std::uint64_t>(target.integer);
    } else if (column.kind == Kind::Text) {
      reader >> target.text;
      target.sum += target.text.size();
    } else {
      reader >> target.real;
      target.sum += static_cast<std::uint64_t>(target.real * 4);
    }
  }
}

void stepThrough(RawStore& store, sqlite3_stmt* statement, const Table& table, Target& target) {
  int code = SQLITE_ROW;
  while ((code = sqlite3_step(statement)) == SQLITE_ROW) takeRow(statement, table, target);
  store.check(code, SQLITE_DONE);
}

Workload makeWorkload(const char* what, const std::string& sweep, double x, const char* unit,
                      double operations) {
  Workload workload{sweep, std::string(what) + ", " + std::to_string(static_cast<long>(x)), unit, operations};
  workload.parameters = {{"x", x}};
  workload.rounds = 7;
  return workload;
}

constexpr const char* kPreparedEachTime = "C, prepared each time";
constexpr const char* kPreparedOnce = "C, prepared once";

void addBatches(Workload& workload, DataFiles& files, const Table& table, const BatchInserter& batch) {
  const auto yes = InTransaction::Yes;
  workload.add<FileCompetitor<LibraryStore>>("vorn", files, yes, table.verification(),
                                             [&table, &batch](LibraryStore& store) {
                                               for (std::size_t i = 0; i < table.statements; ++i)
                                                 LibraryStore::check(store.db().ExecBatchInserter(batch));
                                               return 0U;
                                             });
  for (const bool keep : {false, true}) {
    workload.add<FileCompetitor<RawStore>>(
        keep ? kPreparedOnce : kPreparedEachTime, files, yes, table.verification(),
        [&table, keep](RawStore& store) {
          repeat(store, table, table.insertText(), keep,
                 [&](sqlite3_stmt* statement) { insertRows(store, statement, table); });
          return 0U;
        });
  }
}

void addReads(Workload& workload, DataFiles& files, const Table& table, const CVORNSelector& selector) {
  const auto no = InTransaction::No;
  workload.add<FileCompetitor<LibraryStore>>("vorn", files, no, "", [&table, &selector](LibraryStore& store) {
    Target target;
    for (std::size_t i = 0; i < table.statements; ++i) {
      CVORNReader reader;
      LibraryStore::check(store.db().execReadSQL(selector, reader));
      while (reader.hasNextElement()) takeRow(reader, table, target);
    }
    return target.sum;
  });
  for (const bool keep : {false, true}) {
    workload.add<FileCompetitor<RawStore>>(keep ? kPreparedOnce : kPreparedEachTime, files, no, "",
                                           [&table, keep, text = selector.toString()](RawStore& store) {
                                             Target target;
                                             repeat(store, table, text, keep, [&](sqlite3_stmt* statement) {
                                               stepThrough(store, statement, table, target);
                                             });
                                             return target.sum;
                                           });
  }
}

/// Measures one point of a sweep: a batch and a read of the same table.
void measurePoint(Harness& harness, Scratch& scratch, const std::string& sweep, double x, const Table& table,
                  const char* unit, double operations) {
  const BatchInserter batch = table.batch();
  DataFiles empty(scratch, table.schema());
  Workload batches = makeWorkload("batch", sweep, x, unit, operations);
  addBatches(batches, empty, table, batch);
  harness.measure(batches);

  const CVORNSelector selector = table.selector();
  DataFiles filled(scratch, table.schema(), [&table](RawStore& store) {
    insertRows(store, store.prepare(table.insertText()).get(), table);
  });
  Workload reads = makeWorkload("read", sweep, x, unit, operations);
  addReads(reads, filled, table, selector);
  harness.measure(reads);
}

}  // namespace

void measureRowSweep(Harness& harness, Scratch& scratch) {
  const std::size_t most = harness.options().size(1'000'000);
  for (std::size_t rows = 1; rows <= 1'000'000 && rows <= most; rows *= 10) {
    const std::size_t total = std::min(most, 20'000 * rows);
    const Table table({Kind::Integer, Kind::Text, Kind::Integer, Kind::Real}, rows, 32, total / rows);
    measurePoint(harness, scratch, "rows", static_cast<double>(rows), table, "row",
                 static_cast<double>(table.rows * table.statements));
  }
}

void measureColumnSweep(Harness& harness, Scratch& scratch) {
  const std::size_t values = harness.options().size(1'000'000);
  for (std::size_t columns = 1; columns <= 64; columns *= 4) {
    std::vector<Kind> kinds;
    for (std::size_t i = 0; i < columns; ++i) {
      kinds.push_back(i % 4 == 1 ? Kind::Text : i % 4 == 3 ? Kind::Real : Kind::Integer);
    }
    const Table table(kinds, values / columns, 16, 1);
    measurePoint(harness, scratch, "columns", static_cast<double>(columns), table, "value",
                 static_cast<double>(table.rows * columns));
  }
}

void measureTextSweep(Harness& harness, Scratch& scratch) {
  for (const std::size_t length : {8U, 64U, 512U, 4096U}) {
    const std::size_t rows = harness.options().size(std::min<std::size_t>(400'000, 60'000'000 / length));
    const Table table({Kind::Integer, Kind::Text}, rows, length, 1);
    measurePoint(harness, scratch, "text", static_cast<double>(length), table, "row",
                 static_cast<double>(rows));
  }
}

}  // namespace bench
