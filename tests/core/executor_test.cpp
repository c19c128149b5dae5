#include <new>

#include "faults/FailingAllocations.h"
#include "scripted/scripted_platform.h"
#include "support.h"
#include "vorn/batch_inserter.h"
#include "vorn/database.h"
#include "vorn/reader.h"

namespace {

using scripted::platform;

struct Batch : BatchInserter {
  std::string toString() const override { return isWordless ? "" : BatchInserter::toString(); }
  bool isWordless = false;
};

/// One operation on a database, and the circumstance that it meets.
struct Call {
  Call() {
    statement.assign("sql");
    batch["a"] << 1;
  }

  void meet(const std::string& circumstance) {
    isByProcess = circumstance[0] >= '0' && circumstance[0] <= '9';
    if (isByProcess) platform().processId = static_cast<std::uint32_t>(std::stoul(circumstance));
    if (circumstance == "remark") platform().result = {0, 5, "remark"};
    if (circumstance == "failed") platform().result = {-3, 99, "broken"};
    if (circumstance == "silent") platform().result = {1, 77, {}};
    if (circumstance == "throws") platform().onCall = [](const vorn::TypedRef&) { throw std::bad_alloc(); };
    if (circumstance == "empty") statement.assign("");
    if (circumstance == "unequal") batch["b"] << 1 << 2;
    if (circumstance == "columnless") batch.clear();
    batch.isWordless = circumstance == "wordless";
    FailingAllocations::nothrowFails = circumstance == "memoryless";
  }

  unsigned long run(const std::string& operation) {
    CVORN* db = nullptr;
    const GuardDB guard("a name without meaning", db, isByProcess);
    if (operation == "begin") return db->beginTransaction();
    if (operation == "commit") return db->commitTransaction();
    if (operation == "rollback") return db->rollbackTransaction();
    if (operation == "write") return db->execWriteSQL(statement);
    return operation == "read" ? db->execReadSQL(statement, reader) : db->ExecBatchInserter(batch);
  }

  CVORNsqlstr statement;
  CVORNReader reader;
  Batch batch;
  bool isByProcess = false;
};

TEST(ExecutorTest, AsksThePlatformInOrder) {
  for (const auto& [words, events] : casesOf("core/executor.txt")) {
    platform() = scripted::Platform();
    Call call;
    const std::size_t blank = words.find(' ');
    call.meet(words.substr(blank + 1));
    try {
      scripted::record("return " + std::to_string(call.run(words.substr(0, blank))));
    } catch (const std::bad_alloc&) {
      scripted::record("bad_alloc");
    }
    call.reader.clear();
    EXPECT_EQ(scripted::takeEvents(), events) << words;
  }
  FailingAllocations::nothrowFails = false;
}

}  // namespace
