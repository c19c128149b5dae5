#include <functional>
#include <map>
#include <new>

#include "scripted/scripted_platform.h"
#include "support.h"
#include "vorn/batch_inserter.h"
#include "vorn/database.h"
#include "vorn/reader.h"

namespace {

using scripted::platform;

TEST(ExecutorTest, AsksThePlatformInOrder) {
  for (const auto& [words, events] : casesOf("core/executor.txt")) {
    const std::string operation = split(words, " ")[0];
    const std::string circumstance = split(words, " ")[1];
    const bool isByProcess = circumstance[0] >= '0' && circumstance[0] <= '9';
    platform = {};
    if (isByProcess) platform.processId = static_cast<std::uint32_t>(std::stoul(circumstance));
    platform.answer = [circumstance](auto&, auto&) -> vorn::ExecResult {
      if (circumstance == "throws") throw std::bad_alloc();
      if (circumstance == "failed") return {-3, 99, "broken"};
      if (circumstance == "silent") return {1, 77, {}};
      return {0, 5, "remark"};
    };
    CVORNsqlstr statement;
    statement.assign(circumstance == "empty" ? "" : "sql");
    BatchInserter batch;
    if (circumstance != "columnless") batch["a"] << 1;
    if (circumstance == "unequal") batch["b"] << 1 << 2;
    CVORNReader reader;
    CVORN* db = nullptr;
    const GuardDB guard("a name without meaning", db, isByProcess);
    const std::map<std::string, std::function<unsigned long()>> operations = {
        {"begin", [&] { return db->beginTransaction(); }},
        {"commit", [&] { return db->commitTransaction(); }},
        {"rollback", [&] { return db->rollbackTransaction(); }},
        {"write", [&] { return db->execWriteSQL(statement); }},
        {"read", [&] { return db->execReadSQL(statement, reader); }},
        {"insert", [&] { return db->ExecBatchInserter(batch); }}};
    try {
      scripted::record("return " + std::to_string(operations.at(operation)()));
    } catch (const std::bad_alloc&) {
      scripted::record("bad_alloc");
    }
    reader.clear();
    EXPECT_EQ(scripted::takeEvents(), events) << words;
  }
}

}  // namespace
