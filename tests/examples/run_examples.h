#pragma once

#include <cassert>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "vorn/vorn.h"

/// One example of a public header or a page. `db` works on a store of its own, where the table alarm is; `text` is a
/// text from outside the program.
struct Example {
  const char* place;
  void (*run)(CVORN* db, const std::string& text);
};

/// Runs each example, and ends the program at an assertion, or at a line that the library logs.
/// @return the program's exit status
inline int runExamples(const std::vector<Example>& examples) {
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
    if (!vorn::bindStore("default", "sqlite::memory:").succeeded() || db.execWriteSQL(setup) != 0) return 1;
    example.run(&db, "it's");
    vorn::setLogSink({});
    vorn::unbindStores();
  }
  return 0;
}
