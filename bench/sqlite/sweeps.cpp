// Throughput by the number of rows, by the number of columns and by the length of texts.
#include "sqlite/FileWorkload.h"
#include "sqlite/SweepTable.h"
#include "sqlite/workloads.h"
#include "vorn/reader.h"

namespace bench {

namespace {

constexpr const char* kVerification = "select count(*) || '/' || sum(length(c0)) from wide";

/// Variables that a row is read into.
struct Target {
  long integer = 0;
  std::string text;
  double real = 0;
};

/// Reads one row. @param take  reads the next field into a variable
template <typename Take>
void takeRow(const SweepTable& table, Target& target, Checksum& checksum, const Take& take) {
  int index = 0;
  const auto takeInto = [&](auto& variable) {
    take(index++, variable);
    checksum.add(variable);
  };
  for (const auto& column : table.columns) {
    if (std::holds_alternative<SweepTable::Integers>(column)) {
      takeInto(target.integer);
    } else if (std::holds_alternative<SweepTable::Texts>(column)) {
      takeInto(target.text);
    } else {
      takeInto(target.real);
    }
  }
}

void readThroughLibrary(LibraryStore& store, const SweepTable& table, Checksum& checksum) {
  Target target;
  for (std::size_t i = 0; i < table.statements; ++i) {
    CVORNReader reader;
    store.query(table.selector, reader);
    while (reader.hasNextElement()) {
      takeRow(table, target, checksum, [&reader](int, auto& variable) { reader >> variable; });
    }
  }
}

void readRows(RawStore& store, sqlite3_stmt* statement, const SweepTable& table, Target& target,
              Checksum& checksum) {
  const auto take = [statement](int index, auto& variable) { RawStore::take(statement, index, variable); };
  store.stepThrough(statement, [&] { takeRow(table, target, checksum, take); });
}

void insertRows(RawStore& store, sqlite3_stmt* statement, const SweepTable& table) {
  for (std::size_t row = 0; row < table.rows; ++row) {
    int parameter = 0;
    for (const auto& column : table.columns) {
      ++parameter;
      if (const auto* integers = std::get_if<SweepTable::Integers>(&column)) {
        store.bind(statement, parameter, (*integers)[row]);
      } else if (const auto* texts = std::get_if<SweepTable::Texts>(&column)) {
        store.bind(statement, parameter, (*texts)[row]);
      } else {
        store.bind(statement, parameter, std::get<SweepTable::Reals>(column)[row]);
      }
    }
    store.run(statement);
  }
}

/// Calls `use` with a statement for each repetition, the same one or a new one each time.
template <typename Use>
void repeat(RawStore& store, const SweepTable& table, const std::string& text, bool keep, const Use& use) {
  RawStore::Statement statement = store.prepare(text);
  for (std::size_t i = 0; i < table.statements; ++i) {
    if (i > 0 && !keep) statement = store.prepare(text);
    use(statement.get());
    store.check(sqlite3_reset(statement.get()));
  }
}

/// The two ways of the C interface to run several statements; a single one is prepared once in both.
std::vector<std::pair<const char*, bool>> waysOf(const SweepTable& table) {
  if (table.statements == 1) return {{"C, prepared once", true}};
  return {{"C, prepared each time", false}, {"C, prepared once", true}};
}

/// Measures one point of a sweep: a batch and a read of the same table.
void measurePoint(Harness& harness, const std::string& sweep, std::size_t x, const char* unit,
                  std::size_t operations, const SweepTable& table) {
  const auto workload = [&](const char* panel) {
    Workload result{sweep, std::string(panel) + ", " + std::to_string(x), unit, operations};
    result.panel = panel;
    result.x = x;
    result.mostRounds = 7;
    return result;
  };
  DataFiles empty(harness.options().directory, table.schema);
  FileWorkload batches(workload("batch"), empty, InTransaction::Yes, kVerification);
  batches.add<LibraryStore>("vorn", [&](LibraryStore& store, Checksum&) {
    for (std::size_t i = 0; i < table.statements; ++i) store.execute(table.batch);
  });
  for (const auto& [name, keep] : waysOf(table)) {
    batches.add<RawStore>(name, [&table, keep](RawStore& store, Checksum&) {
      repeat(store, table, table.insertText, keep,
             [&](sqlite3_stmt* statement) { insertRows(store, statement, table); });
    });
  }
  harness.measure(batches);

  DataFiles filled(harness.options().directory, table.schema, [&table](RawStore& store) {
    insertRows(store, store.prepare(table.insertText).get(), table);
  });
  FileWorkload reads(workload("read"), filled);
  reads.add<LibraryStore>("vorn", [&table](LibraryStore& store, Checksum& checksum) {
    readThroughLibrary(store, table, checksum);
  });
  for (const auto& [name, keep] : waysOf(table)) {
    reads.add<RawStore>(name, [&table, keep, text = table.selector.toString()](auto& store, auto& checksum) {
      Target target;
      repeat(store, table, text, keep,
             [&](sqlite3_stmt* statement) { readRows(store, statement, table, target, checksum); });
    });
  }
  harness.measure(reads);
}

void sweepRows(Harness& harness) {
  const std::size_t most = harness.options().size(1'000'000);
  for (std::size_t rows = 1; rows <= most; rows *= 10) {
    const SweepTable table("itir", rows, 32, std::min(most, 20'000 * rows) / rows);
    measurePoint(harness, "rows", rows, "row", rows * table.statements, table);
  }
}

void sweepColumns(Harness& harness) {
  const std::size_t values = harness.options().size(1'000'000);
  std::string kinds = "i";
  for (const std::size_t columns : {1U, 4U, 16U, 64U}) {
    while (kinds.size() < columns) kinds += "itir"[kinds.size() % 4];
    const SweepTable table(kinds, values / columns, 16, 1);
    measurePoint(harness, "columns", columns, "value", table.rows * columns, table);
  }
}

void sweepText(Harness& harness) {
  for (const std::size_t length : {8U, 64U, 512U, 4096U}) {
    const std::size_t rows = harness.options().size(std::min<std::size_t>(400'000, 60'000'000 / length));
    measurePoint(harness, "text", length, "row", rows, SweepTable("it", rows, length, 1));
  }
}

}  // namespace

void measureSweeps(Harness& harness) {
  if (harness.options().wants("rows")) sweepRows(harness);
  if (harness.options().wants("columns")) sweepColumns(harness);
  if (harness.options().wants("text")) sweepText(harness);
}

}  // namespace bench
