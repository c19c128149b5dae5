// Single inserts as rendered texts, inside one transaction.
#include "SampleRows.h"
#include "sqlite/FileCompetitor.h"
#include "sqlite/workloads.h"
#include "vorn/inserter.h"
#include "vorn/statement.h"

namespace bench {

namespace {

using Texts = std::vector<std::string>;

void render(CVORNInserter& inserter, const SampleRows& rows, std::size_t row) {
  inserter.clear();
  inserter["id"]["text"]["level"]["ratio"] << rows.ids[row] << rows.texts[row] << rows.levels[row]
                                           << rows.ratios[row];
}

Texts renderAll(const SampleRows& rows) {
  Texts texts;
  CVORNInserter inserter;
  inserter.table("sample");
  for (std::size_t row = 0; row < rows.size(); ++row) {
    render(inserter, rows, row);
    texts.push_back(inserter.toString());
  }
  return texts;
}

std::vector<CVORNsqlstr> asStatements(const Texts& texts) {
  std::vector<CVORNsqlstr> statements(texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) statements[i].assign(texts[i]);
  return statements;
}

std::uint64_t renderAndExecute(LibraryStore& store, const SampleRows& rows) {
  CVORNInserter inserter;
  inserter.table("sample");
  for (std::size_t row = 0; row < rows.size(); ++row) {
    render(inserter, rows, row);
    LibraryStore::check(store.db().execWriteSQL(inserter));
  }
  return 0;
}

// The C interface's own way to write a literal into a text.
std::uint64_t printAndExecute(RawStore& store, const SampleRows& rows) {
  for (std::size_t row = 0; row < rows.size(); ++row) {
    const std::unique_ptr<char, decltype(&sqlite3_free)> text(
        sqlite3_mprintf("insert into sample (id,text,level,ratio) values(%ld,%Q,%ld,%f)", rows.ids[row],
                        rows.texts[row].c_str(), rows.levels[row], rows.ratios[row]),
        sqlite3_free);
    store.execute(text.get());
  }
  return 0;
}

void addReady(Workload& workload, DataFiles& files, const Texts& texts,
              const std::vector<CVORNsqlstr>& statements) {
  const auto yes = InTransaction::Yes;
  workload.add<FileCompetitor<LibraryStore>>("vorn", files, yes, kSampleVerification,
                                             [&statements](LibraryStore& store) {
                                               for (const CVORNsqlstr& statement : statements)
                                                 LibraryStore::check(store.db().execWriteSQL(statement));
                                               return 0U;
                                             });
  workload.add<FileCompetitor<RawStore>>("sqlite3_exec", files, yes, kSampleVerification,
                                         [&texts](RawStore& store) {
                                           for (const std::string& text : texts) store.execute(text);
                                           return 0U;
                                         });
  workload.add<FileCompetitor<SqliteCppStore>>("SQLiteCpp", files, yes, kSampleVerification,
                                               [&texts](SqliteCppStore& store) {
                                                 for (const std::string& text : texts)
                                                   store.database().exec(text);
                                                 return 0U;
                                               });
  workload.add<FileCompetitor<SociStore>>("SOCI", files, yes, kSampleVerification,
                                          [&texts](SociStore& store) {
                                            for (const std::string& text : texts) store.session() << text;
                                            return 0U;
                                          });
}

}  // namespace

void insertPrepared(RawStore& store, const SampleRows& rows) {
  const RawStore::Statement statement =
      store.prepare("insert into sample (id,text,level,ratio) values(?,?,?,?)");
  sqlite3_stmt* handle = statement.get();
  for (std::size_t row = 0; row < rows.size(); ++row) {
    const std::string& text = rows.texts[row];
    store.check(sqlite3_bind_int64(handle, 1, rows.ids[row]));
    store.check(sqlite3_bind_text(handle, 2, text.data(), static_cast<int>(text.size()), SQLITE_STATIC));
    store.check(sqlite3_bind_int64(handle, 3, rows.levels[row]));
    store.check(sqlite3_bind_double(handle, 4, rows.ratios[row]));
    store.check(sqlite3_step(handle), SQLITE_DONE);
    store.check(sqlite3_reset(handle));
  }
}

void measureWrite(Harness& harness, Scratch& scratch) {
  const SampleRows rows = SampleRows::make(harness.options().size(100'000));
  const Texts texts = renderAll(rows);
  const std::vector<CVORNsqlstr> statements = asStatements(texts);
  DataFiles files(scratch, kSampleTable);
  const auto yes = InTransaction::Yes;

  Workload ready{"write", "ready texts", "insert", static_cast<double>(rows.size())};
  addReady(ready, files, texts, statements);
  ready.add<FileCompetitor<RawStore>>("prepared, bound", files, yes, kSampleVerification,
                                      [&rows](RawStore& store) {
                                        insertPrepared(store, rows);
                                        return 0U;
                                      });
  harness.measure(ready);

  Workload rendered{"write", "with rendering", "insert", static_cast<double>(rows.size())};
  rendered.add<FileCompetitor<LibraryStore>>(
      "vorn, CVORNInserter", files, yes, kSampleVerification,
      [&rows](LibraryStore& store) { return renderAndExecute(store, rows); });
  rendered.add<FileCompetitor<RawStore>>("mprintf, sqlite3_exec", files, yes, kSampleVerification,
                                         [&rows](RawStore& store) { return printAndExecute(store, rows); });
  rendered.add<FileCompetitor<RawStore>>("sqlite3_exec, ready", files, yes, kSampleVerification,
                                         [&texts](RawStore& store) {
                                           for (const std::string& text : texts) store.execute(text);
                                           return 0U;
                                         });
  harness.measure(rendered);
}

}  // namespace bench
