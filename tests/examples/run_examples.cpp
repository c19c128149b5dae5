#include "run_examples.h"

namespace {

bool write(CVORN& db, const std::string& sql) {
  CVORNsqlstr statement;
  statement.assign(sql);
  return db.execWriteSQL(statement) == 0;
}

bool runs(const Example& example) {
  bool quiet = true;
  vorn::setLogSink([&quiet](const vorn::LogRecord& record) {
    if (record.text.find("[VORNLib]") != 0) return;
    std::cerr << record.text << '\n';
    quiet = false;
  });
  bool good = vorn::bindStore("default", "sqlite::memory:").succeeded();
  CVORN* db = nullptr;
  const GuardDB guard("examples", db, false);
  good = good && write(*db, "create table alarm (id integer, level integer, name text, state text)") &&
         write(*db, "insert into alarm values (1, 3, 'disk', 'open'), (2, 1, null, 'closed')");
  if (good) example.run(db, "it's");
  vorn::setLogSink({});
  vorn::unbindStores();
  return good && quiet;
}

}  // namespace

int runExamples(const std::vector<Example>& examples) {
  int failures = 0;
  for (const Example& example : examples) {
    std::cout << example.place << std::endl;
    if (runs(example)) continue;
    std::cout << "FAILED: the store refused something, or the library logged something\n";
    ++failures;
  }
  return failures == 0 ? 0 : 1;
}
