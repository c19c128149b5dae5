// Whole columns of values inserted at once, and the filling of a batch.
#include "SampleRows.h"
#include "sqlite/FileCompetitor.h"
#include "sqlite/workloads.h"
#include "vorn/batch_inserter.h"

namespace bench {

namespace {

template <typename Value>
void fillColumn(BatchInserter& batch, const char* name, const std::vector<Value>& values) {
  batch[name];
  for (const Value& value : values) batch << value;
}

void fillByRow(BatchInserter& batch, const SampleRows& rows) {
  for (std::size_t row = 0; row < rows.size(); ++row) {
    batch["id"] << rows.ids[row];
    batch["text"] << rows.texts[row];
    batch["level"] << rows.levels[row];
    batch["ratio"] << rows.ratios[row];
  }
}

void insertThroughSqliteCpp(SqliteCppStore& store, const SampleRows& rows) {
  SQLite::Statement statement(store.database(), "insert into sample (id,text,level,ratio) values(?,?,?,?)");
  for (std::size_t row = 0; row < rows.size(); ++row) {
    statement.bind(1, static_cast<int64_t>(rows.ids[row]));
    statement.bindNoCopy(2, rows.texts[row]);
    statement.bind(3, static_cast<int64_t>(rows.levels[row]));
    statement.bind(4, rows.ratios[row]);
    statement.exec();
    statement.reset();
  }
}

void insertThroughSoci(SociStore& store, const SampleRows& rows) {
  soci::statement statement =
      (store.session().prepare << "insert into sample (id,text,level,ratio) values(:id,:text,:level,:ratio)",
       soci::use(rows.ids, "id"), soci::use(rows.texts, "text"), soci::use(rows.levels, "level"),
       soci::use(rows.ratios, "ratio"));
  statement.execute(true);
}

/// Adds the four competitors. What opens the transaction is either around them or, timed, inside.
void addBatches(Workload& workload, DataFiles& files, InTransaction around, const BatchInserter& batch,
                const SampleRows& rows) {
  const auto timed = [around](auto& store, auto&& insert) {
    if (around == InTransaction::No) store.begin();
    insert();
    if (around == InTransaction::No) store.commit();
    return 0U;
  };
  workload.add<FileCompetitor<LibraryStore>>(
      "vorn", files, around, kSampleVerification, [&batch](LibraryStore& store) {
        LibraryStore::check(
            store.db().ExecBatchInserter(batch));  // a transaction of its own where none is open
        return 0U;
      });
  workload.add<FileCompetitor<RawStore>>(
      "C, prepared loop", files, around, kSampleVerification,
      [&rows, timed](RawStore& store) { return timed(store, [&] { insertPrepared(store, rows); }); });
  workload.add<FileCompetitor<SqliteCppStore>>(
      "SQLiteCpp, prepared loop", files, around, kSampleVerification, [&rows, timed](SqliteCppStore& store) {
        return timed(store, [&] { insertThroughSqliteCpp(store, rows); });
      });
  workload.add<FileCompetitor<SociStore>>(
      "SOCI, bulk", files, around, kSampleVerification,
      [&rows, timed](SociStore& store) { return timed(store, [&] { insertThroughSoci(store, rows); }); });
}

/// Fills something in each round and drops it afterwards.
template <typename Target>
class FillCompetitor : public Competitor {
 public:
  using Fill = void (*)(Target&, const SampleRows&);
  FillCompetitor(std::string name, const SampleRows& rows, Fill fill)
      : Competitor(std::move(name)), m_rows(rows), m_fill(fill) {}
  void run() override { m_fill(m_target, m_rows); }
  Outcome finish() override {
    m_target = Target();
    return {};
  }

 private:
  const SampleRows& m_rows;
  const Fill m_fill;
  Target m_target;
};

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

}  // namespace

void fillByColumn(BatchInserter& batch, const SampleRows& rows) {
  fillColumn(batch, "id", rows.ids);
  fillColumn(batch, "text", rows.texts);
  fillColumn(batch, "level", rows.levels);
  fillColumn(batch, "ratio", rows.ratios);
}

void measureBatch(Harness& harness, Scratch& scratch) {
  const SampleRows rows = SampleRows::make(harness.options().size(1'000'000));
  BatchInserter batch;
  batch.table("sample");
  fillByColumn(batch, rows);
  DataFiles files(scratch, kSampleTable);
  for (const auto around : {InTransaction::Yes, InTransaction::No}) {
    const char* name = around == InTransaction::Yes ? "in a transaction" : "with begin and commit";
    Workload workload{"batch", name, "row", static_cast<double>(rows.size())};
    workload.parameters["rows"] = workload.operations;
    addBatches(workload, files, around, batch, rows);
    harness.measure(workload);
  }
}

void measureFill(Harness& harness) {
  const SampleRows rows = SampleRows::make(harness.options().size(250'000));
  for (const bool byColumn : {true, false}) {
    Workload fill{"fill", byColumn ? "column by column" : "row by row", "value",
                  4.0 * static_cast<double>(rows.size())};
    fill.add<FillCompetitor<BatchInserter>>("vorn", rows, byColumn ? fillByColumn : fillByRow);
    fill.add<FillCompetitor<SampleRows>>("push_back", rows, pushBack);
    harness.measure(fill);
  }
}

}  // namespace bench
