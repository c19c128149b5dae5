#include "run_examples.h"

namespace {

void write(CVORN* db, const char* sql) {
  CVORNsqlstr statement;
  statement.assign(sql);
  db->execWriteSQL(statement);
}

bool runs(const Example& example) {
  bool quiet = true;
  vorn::setLogSink([&quiet](const vorn::LogRecord& record) {
    if (record.text.find("[VORNLib]") != 0) return;
    std::cerr << record.text << '\n';
    quiet = false;
  });
  const bool bound = vorn::bindStore("default", "sqlite::memory:").succeeded();
  CVORN* db = nullptr;
  const GuardDB guard("examples", db, false);
  write(db, "create table alarm (id integer, level integer, name text, state text)");
  write(db, "insert into alarm values (1, 3, 'disk', 'open'), (2, 1, null, 'closed')");
  example.run(db, "it's");
  vorn::setLogSink({});
  vorn::unbindStores();
  return bound && quiet;
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
