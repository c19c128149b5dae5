// Rows inserted one by one as rendered texts and as whole columns at once, and the filling of a batch.
#include "BatchRows.h"
#include "sqlite/FileWorkload.h"
#include "sqlite/workloads.h"
#include "vorn/inserter.h"

namespace bench {

namespace {

/// Renders an insert for each row. @param use  called with each
template <typename Use>
void render(const SampleRows& rows, const Use& use) {
  CVORNInserter inserter;
  inserter.table("sample");
  for (std::size_t row = 0; row < rows.size(); ++row) {
    inserter.clear();
    inserter["id"]["text"]["level"]["ratio"] << rows.ids[row] << rows.texts[row] << rows.levels[row]
                                             << rows.ratios[row];
    use(inserter);
  }
}

// The C interface's own way to write a literal into a text.
void printAndExecute(RawStore& store, const SampleRows& rows) {
  for (std::size_t row = 0; row < rows.size(); ++row) {
    const std::unique_ptr<char, decltype(&sqlite3_free)> text(
        sqlite3_mprintf("insert into sample (id,text,level,ratio) values(%ld,%Q,%ld,%f)", rows.ids[row],
                        rows.texts[row].c_str(), rows.levels[row], rows.ratios[row]),
        sqlite3_free);
    store.execute(text.get());
  }
}

void measureSingleInserts(Harness& harness) {
  const SampleRows rows = SampleRows::make(harness.options().size(100'000));
  std::vector<std::string> texts;
  std::vector<CVORNsqlstr> statements;
  render(rows, [&](const CVORNInserter& inserter) {
    texts.push_back(inserter.toString());
    statements.emplace_back().assign(texts.back());
  });
  DataFiles files(harness.options().directory, kSampleTable);
  const auto yes = InTransaction::Yes;
  const auto executeTexts = [&](auto& store, Checksum&) {
    for (const std::string& text : texts) store.execute(text);
  };

  FileWorkload ready({"write", "ready texts", "insert", rows.size()}, files, yes, kSampleVerification);
  ready.add<LibraryStore>("vorn", [&](LibraryStore& store, Checksum&) {
    for (const CVORNsqlstr& statement : statements) store.execute(statement);
  });
  ready.add<RawStore>("sqlite3_exec", executeTexts);
  ready.add<SqliteCppStore>("SQLiteCpp", executeTexts);
  ready.add<SociStore>("SOCI", executeTexts);
  harness.measure(ready);

  FileWorkload rendered({"write", "with rendering", "insert", rows.size()}, files, yes, kSampleVerification);
  rendered.add<LibraryStore>("vorn, CVORNInserter", [&](LibraryStore& store, Checksum&) {
    render(rows, [&store](const CVORNInserter& inserter) { store.execute(inserter); });
  });
  rendered.add<RawStore>("mprintf, sqlite3_exec",
                         [&](RawStore& store, Checksum&) { printAndExecute(store, rows); });
  rendered.add<RawStore>("sqlite3_exec, ready", executeTexts);
  harness.measure(rendered);
}

void measureBatch(Harness& harness) {
  const SampleRows rows = SampleRows::make(harness.options().size(1'000'000));
  const BatchInserter batch = makeBatch(rows);
  DataFiles files(harness.options().directory, kSampleTable);
  for (const auto around : {InTransaction::Yes, InTransaction::No}) {
    const bool inside = around == InTransaction::No;
    const char* name = inside ? "with begin and commit" : "in a transaction";
    FileWorkload workload({"batch", name, "row", rows.size()}, files, around, kSampleVerification);
    const auto byHand = [&rows, inside](auto& store, Checksum&) {
      if (inside) store.begin();
      store.insert(rows);
      if (inside) store.commit();
    };
    // The library begins and commits where nobody has.
    workload.add<LibraryStore>("vorn", [&](LibraryStore& store, Checksum&) { store.execute(batch); });
    workload.add<RawStore>("C, prepared loop", byHand);
    workload.add<SqliteCppStore>("SQLiteCpp, prepared loop", byHand);
    workload.add<SociStore>("SOCI, bulk", byHand);
    harness.measure(workload);
  }
}

void fillByRow(BatchInserter& batch, const SampleRows& rows) {
  for (std::size_t row = 0; row < rows.size(); ++row) {
    batch["id"] << rows.ids[row];
    batch["text"] << rows.texts[row];
    batch["level"] << rows.levels[row];
    batch["ratio"] << rows.ratios[row];
  }
}

template <typename Value>
void push(std::vector<Value>& target, const std::vector<Value>& values) {
  for (const Value& value : values) target.push_back(value);
}

void pushBack(SampleRows& target, const SampleRows& rows) {
  push(target.ids, rows.ids);
  push(target.texts, rows.texts);
  push(target.levels, rows.levels);
  push(target.ratios, rows.ratios);
}

void measureFill(Harness& harness) {
  const SampleRows rows = SampleRows::make(harness.options().size(250'000));
  BatchInserter batch;
  SampleRows vectors;
  const auto dropBatch = [&batch](Checksum&) { return batch = BatchInserter(), 0.0; };
  const auto dropVectors = [&vectors](Checksum&) { return vectors = SampleRows(), 0.0; };
  for (const bool byColumn : {true, false}) {
    Workload fill{"fill", byColumn ? "column by column" : "row by row", "value", 4 * rows.size()};
    const auto fillBatch = [&](Checksum&) { byColumn ? fillByColumn(batch, rows) : fillByRow(batch, rows); };
    fill.competitors.push_back({"vorn", fillBatch, [] {}, dropBatch});
    fill.competitors.push_back(
        {"push_back", [&](Checksum&) { pushBack(vectors, rows); }, [] {}, dropVectors});
    harness.measure(fill);
  }
}

}  // namespace

void measureInserts(Harness& harness) {
  if (harness.options().wants("write")) measureSingleInserts(harness);
  if (harness.options().wants("batch")) measureBatch(harness);
  if (harness.options().wants("fill")) measureFill(harness);
}

}  // namespace bench
