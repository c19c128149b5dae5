#include <new>
#include <tuple>

#include "faults/FailingAllocations.h"
#include "scripted/scripted_platform.h"
#include "vorn/batch_inserter.h"
#include "vorn/database.h"
#include "vorn/reader.h"

namespace {

using scripted::platform;
using scripted::takeEvents;

struct ExecutorTest : scripted::PlatformTest {
  /// Runs the operation that the letter stands for: begin, commit, rollback, write, read, insert a batch.
  unsigned long run(char operation, MIRAsqlDB db = MIRAsqlDB(false)) {
    CVORNsqlstr statement;
    statement.assign(text);
    if (operation == 'b') return db.beginTransaction();
    if (operation == 'c') return db.commitTransaction();
    if (operation == 'r') return db.rollbackTransaction();
    if (operation == 'W') return db.execWriteSQL(statement);
    return operation == 'R' ? db.execReadSQL(statement, reader) : db.ExecBatchInserter(batch);
  }

  std::string text = "sql";
  CVORNReader reader;
  BatchInserter batch;
};

TEST_F(ExecutorTest, ChoosesTheSessionNameByFlagAndProcess) {
  const std::tuple<bool, std::uint32_t, const char*, int> cases[] = {
      {false, 4073, "default", 0},    {false, 1, "default", 0},
      {true, 4073, "NeBackupDB", 1},  {true, 4073 + 65536, "NeBackupDB", 1},
      {true, 4222, "NeBackupDB", 2},  {true, 4222 + 7 * 65536, "NeBackupDB", 2},
      {true, 4074, "NeUpgradeDB", 2}, {true, 0xFFFFFFFF, "NeUpgradeDB", 2},
  };
  batch["a"] << 1;
  for (const auto& [flag, process, name, calls] : cases) {
    for (const char operation : std::string("bcrWRI")) {
      platform().processId = process;
      platform().processIdCalls = 0;
      EXPECT_EQ(run(operation, MIRAsqlDB(flag)), 0u);
      EXPECT_NE(takeEvents().find(std::string("open ") + name + "; "), std::string::npos) << operation;
      EXPECT_EQ(platform().processIdCalls, calls);
      reader.clear();
    }
  }
}

TEST_F(ExecutorTest, ReportsEveryOutcome) {
  const vorn::ExecResult done, remark(0, 5, "remark"), failed(-3, 99, "broken"), silent(1, 77, {});
  const std::string write =
      "open default; identify MiraDB:execWriteSQL:84; execute default MiraDB:execWriteSQL:84 4 sql; close "
      "default";
  const std::string read =
      "trace @MiraDB:execReadSQL:55; open default; identify MiraDB:execReadSQL:63; execute default "
      "MiraDB:execReadSQL:63 0 sql";
  const std::string insert =
      "open default; identify MiraDB:ExecBatchInserter:147; execute default MiraDB:ExecBatchInserter:147 1 "
      "insert into t (a) values({a}); "
      "close default";
  std::vector<std::tuple<char, vorn::ExecResult, unsigned long, std::string>> cases = {
      {'b', failed, 99, "open default; begin default; close default"},
      {'c', remark, 5, "open default; commit default; close default"},  // the code, even of a success
      {'r', done, 0, "open default; rollback default; close default"}};
  const std::tuple<char, std::string, std::string> statements[] = {
      {'W', write, "execWriteSQL:86"}, {'R', read, "execReadSQL:65"}, {'I', insert, "ExecBatchInserter:149"}};
  for (const auto& [operation, events, place] : statements) {
    const std::string info = events + "; info scrubbed [VORNLib]", at = " @MiraDB:" + place;
    cases.insert(cases.end(), {{operation, done, 0, events}, {operation, remark, 0, events}});
    cases.insert(cases.end(),
                 {{operation, failed, 99, info + "broken" + at}, {operation, silent, 77, info + at}});
  }
  batch.table("t");
  batch["a"] << 1;
  for (const auto& [operation, result, code, events] : cases) {
    platform().results = {result};
    EXPECT_EQ(run(operation), code);
    EXPECT_EQ(takeEvents(), events);
    reader.clear();  // which alone keeps its session
    EXPECT_EQ(takeEvents(), operation == 'R' ? "close default" : "");
  }
  platform().onExecute = [](const vorn::TypedRef&) { throw std::bad_alloc(); };
  EXPECT_THROW(run('W'), std::bad_alloc);
  EXPECT_THROW(run('I'), std::bad_alloc);
  EXPECT_EQ(takeEvents(), write + "; " + insert);
}

TEST_F(ExecutorTest, RefusesWhatItCannotRun) {
  struct : BatchInserter {
    std::string toString() const override { return {}; }
  } wordless;
  const auto expectRefusal = [&](unsigned long code, const std::string& words, const std::string& place) {
    const std::string trace = place[4] == 'R' ? "trace @MiraDB:execReadSQL:55; " : "";
    EXPECT_EQ(code, 1u);
    EXPECT_EQ(takeEvents(), trace + "error 1 scrubbed [VORNLib]" + words + " @MiraDB:" + place);
  };
  const std::string empty = "! strSQL is empty string!", uneven = "ExecBatchInserter! paramMap is error!";
  FailingAllocations::nothrowFails = true;
  const unsigned long withoutMemory = run('R');
  FailingAllocations::nothrowFails = false;
  expectRefusal(withoutMemory, "Exception" + empty, "execReadSQL:69");
  text.clear();
  expectRefusal(run('R'), "Exception" + empty, "execReadSQL:58");
  expectRefusal(run('W'), "execWriteSQL" + empty, "execWriteSQL:80");
  expectRefusal(MIRAsqlDB(true).ExecBatchInserter(wordless), "ExecBatchInserter" + empty,
                "ExecBatchInserter:97");
  EXPECT_EQ(run('I'), 0u) << "a batch without columns is a success";
  EXPECT_EQ(takeEvents(),
            "info scrubbed [VORNLib]ExecBatchInserter! paramMap is empty! @MiraDB:ExecBatchInserter:105");
  batch["b"] << 1 << 2;
  batch["a"] << 1 << 2 << 3;
  expectRefusal(run('I'), uneven, "ExecBatchInserter:141");
  batch["b"] << 3 << 4;
  expectRefusal(run('I'), uneven, "ExecBatchInserter:141");
}

TEST_F(ExecutorTest, GuardHandsOutADatabaseAndIgnoresTheName) {
  CVORN* db = nullptr;
  const GuardDB guard("TaskDB", db, true);
  ASSERT_NE(dynamic_cast<MIRAsqlDB*>(db), nullptr);
  EXPECT_EQ(db->commitTransaction(), 0u);
  EXPECT_EQ(takeEvents(), "open NeUpgradeDB; commit NeUpgradeDB; close NeUpgradeDB");
}

}  // namespace
