#include "run_examples.h"

int runExamples(const std::vector<Example>& examples) {
  for (const Example& example : examples) {
    std::cout << example.place << std::endl;
    vorn::setLogSink([](const vorn::LogRecord& record) {
      std::cerr << record.text << '\n';
      assert(record.text.find("[VORNLib]") != 0 && "the library logged something");
    });
    MIRAsqlDB db(false);
    CVORNsqlstr setup;
    setup.assign(
        "create table alarm as select 1 as id, 3 as level, 'disk' as name, 'open' as state "
        "union all select 2, 1, null, 'closed'");
    assert(vorn::bindStore("default", "sqlite::memory:").succeeded() && db.execWriteSQL(setup) == 0);
    example.run(&db, "it's");
    vorn::setLogSink({});
    vorn::unbindStores();
  }
  return 0;
}
