// What a session costs by itself, and what it adds to a statement that checks a connection out.
#include "sqlite/FileCompetitor.h"
#include "sqlite/workloads.h"
#include "vorn/platform/data_session.h"

namespace bench {

namespace {

void runStatement(const std::string& id, const std::string& text) {
  vorn::DataSession session("default");
  LibraryStore::check(session.execute(id, vorn::SqlKind::Read, text, vorn::NoParameters).errorCode());
}

}  // namespace

void measureSession(Harness& harness, Scratch& scratch) {
  DataFiles files(scratch, kSampleTable);
  const std::size_t calls = harness.options().size(200'000);
  const auto no = InTransaction::No;

  Workload empty{"session", "made and destroyed", "session", static_cast<double>(calls)};
  empty.add<FileCompetitor<LibraryStore>>("vorn", files, no, "", [calls](LibraryStore&) {
    for (std::size_t i = 0; i < calls; ++i) const vorn::DataSession session("default");
    return 0U;
  });
  harness.measure(empty);

  const std::string id = vorn::makeStatementId("session", "measureSession", 1);
  const std::string text = "select 1";
  Workload checkout{"session", "statement with its own checkout", "call", static_cast<double>(calls)};
  checkout.add<FileCompetitor<LibraryStore>>("vorn, own checkout", files, no, "", [=](LibraryStore&) {
    for (std::size_t i = 0; i < calls; ++i) runStatement(id, text);
    return 0U;
  });
  checkout.add<FileCompetitor<LibraryStore>>("vorn, connection held", files, no, "", [=](LibraryStore&) {
    vorn::DataSession holder("default");
    LibraryStore::check(holder.execute(id, vorn::SqlKind::Read, text, vorn::NoParameters).errorCode());
    for (std::size_t i = 0; i < calls; ++i) runStatement(id, text);
    return 0U;
  });
  harness.measure(checkout);
}

}  // namespace bench
