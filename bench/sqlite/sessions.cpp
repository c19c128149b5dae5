// What a session costs by itself, and what it adds to a statement that checks a connection out.
#include "sqlite/FileWorkload.h"
#include "sqlite/workloads.h"
#include "vorn/platform/data_session.h"

namespace bench {

namespace {

void runStatement(vorn::DataSession& session) {
  static const std::string kId = vorn::makeStatementId("session", "measureSession", 1);
  static const std::string kText = "select 1";
  LibraryStore::check(session.execute(kId, vorn::SqlKind::Read, kText, vorn::NoParameters).errorCode());
}

}  // namespace

void measureSessions(Harness& harness) {
  if (!harness.options().wants("session")) return;
  DataFiles files(harness.options().directory, kSampleTable);
  const std::size_t calls = harness.options().size(200'000);

  FileWorkload empty({"session", "made and destroyed", "session", calls}, files);
  empty.add<LibraryStore>("vorn", [calls](auto&, auto&) {
    for (std::size_t i = 0; i < calls; ++i) const vorn::DataSession session("default");
  });
  harness.measure(empty);

  const auto runStatements = [calls](auto&, auto&) {
    for (std::size_t i = 0; i < calls; ++i) {
      vorn::DataSession session("default");
      runStatement(session);
    }
  };
  FileWorkload checkout({"session", "statement with its own checkout", "call", calls}, files);
  checkout.add<LibraryStore>("vorn, own checkout", runStatements);
  checkout.add<LibraryStore>("vorn, connection held", [&](auto& store, auto& checksum) {
    vorn::DataSession holder("default");
    runStatement(holder);
    runStatements(store, checksum);
  });
  harness.measure(checkout);
}

}  // namespace bench
