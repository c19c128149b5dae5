#include <functional>
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
  using Operation = std::function<unsigned long(CVORN&)>;

  ExecutorTest() { statement.assign("sql"); }

  static unsigned long run(const Operation& operation, bool flag = false) {
    MIRAsqlDB db(flag);
    return operation(db);
  }

  CVORNsqlstr statement;
  CVORNReader reader;
  BatchInserter batch;
  const Operation begin = &CVORN::beginTransaction;
  const Operation commit = &CVORN::commitTransaction;
  const Operation rollback = &CVORN::rollbackTransaction;
  const Operation write = [this](CVORN& db) { return db.execWriteSQL(statement); };
  const Operation read = [this](CVORN& db) { return db.execReadSQL(statement, reader); };
  const Operation insert = [this](CVORN& db) { return db.ExecBatchInserter(batch); };
};

TEST_F(ExecutorTest, ChoosesTheSessionNameByFlagAndProcess) {
  const std::tuple<bool, std::uint32_t, const char*, int> cases[] = {
      {false, 4073, "default", 0},   {true, 4073, "NeBackupDB", 1},  {true, 4073 + 65536, "NeBackupDB", 1},
      {true, 4222, "NeBackupDB", 2}, {true, 4074, "NeUpgradeDB", 2}, {true, 0xFFFFFFFF, "NeUpgradeDB", 2},
  };
  batch["a"] << 1;
  for (const auto& [flag, process, name, calls] : cases) {
    for (const Operation& operation : {begin, commit, rollback, write, read, insert}) {
      platform().processId = process;
      platform().processIdCalls = 0;
      EXPECT_EQ(run(operation, flag), 0u);
      EXPECT_NE(takeEvents().find(std::string("open ") + name + "; "), std::string::npos) << name;
      EXPECT_EQ(platform().processIdCalls, calls);
      reader.clear();
    }
  }
}

TEST_F(ExecutorTest, ReportsEveryOutcome) {
  const std::string writes =
      "open default; identify MiraDB:execWriteSQL:84; execute default MiraDB:execWriteSQL:84 4 sql; close "
      "default";
  const std::string reads =
      "trace @MiraDB:execReadSQL:55; open default; identify MiraDB:execReadSQL:63; "
      "execute default MiraDB:execReadSQL:63 0 sql";
  const std::string inserts =
      "open default; identify MiraDB:ExecBatchInserter:147; "
      "execute default MiraDB:ExecBatchInserter:147 1 insert into  (a) values({a}); close default";
  const std::string info = "; info scrubbed [VORNLib]";
  const vorn::ExecResult remark(0, 5, "remark");
  const vorn::ExecResult failed(-3, 99, "broken");
  const std::tuple<Operation, vorn::ExecResult, unsigned long, std::string> cases[] = {
      {begin, failed, 99, "open default; begin default; close default"},
      {commit, remark, 5, "open default; commit default; close default"},  // the code, even of a success
      {rollback, {}, 0, "open default; rollback default; close default"},
      {write, remark, 0, writes},
      {write, failed, 99, writes + info + "broken @MiraDB:execWriteSQL:86"},
      {write, {1, 77, {}}, 77, writes + info + " @MiraDB:execWriteSQL:86"},
      {read, remark, 0, reads},
      {read, failed, 99, reads + info + "broken @MiraDB:execReadSQL:65"},
      {insert, remark, 0, inserts},
      {insert, failed, 99, inserts + info + "broken @MiraDB:ExecBatchInserter:149"},
  };
  batch["a"] << 1;
  for (const auto& [operation, result, code, events] : cases) {
    platform().results = {result};
    EXPECT_EQ(run(operation), code);
    EXPECT_EQ(takeEvents(), events);
    reader.clear();  // a read alone keeps its session
    EXPECT_EQ(takeEvents(), events.starts_with("trace") ? "close default" : "");
  }
  platform().onExecute = [](const vorn::TypedRef&) { throw std::bad_alloc(); };
  EXPECT_THROW(run(write), std::bad_alloc);
  EXPECT_THROW(run(insert), std::bad_alloc);
  EXPECT_EQ(takeEvents(), writes + "; " + inserts) << "no session is left open";
}

TEST_F(ExecutorTest, RefusesWhatItCannotRun) {
  struct : BatchInserter {
    std::string toString() const override { return {}; }
  } wordless;
  const auto expectRefusal = [](const Operation& operation, const std::string& where,
                                const std::string& why) {
    const std::string trace = where.starts_with("execRead") ? "trace @MiraDB:execReadSQL:55; " : "";
    EXPECT_EQ(run(operation), 1u);
    EXPECT_EQ(takeEvents(), trace + "error 1 scrubbed [VORNLib]" + why + " @MiraDB:" + where);
  };
  expectRefusal(
      [this](CVORN& db) {
        FailingAllocations::nothrowFails = true;
        const unsigned long code = db.execReadSQL(statement, reader);
        FailingAllocations::nothrowFails = false;
        return code;
      },
      "execReadSQL:69", "Exception! strSQL is empty string!");
  statement.assign("");
  expectRefusal(read, "execReadSQL:58", "Exception! strSQL is empty string!");
  expectRefusal(write, "execWriteSQL:80", "execWriteSQL! strSQL is empty string!");
  expectRefusal([&](CVORN& db) { return db.ExecBatchInserter(wordless); }, "ExecBatchInserter:97",
                "ExecBatchInserter! strSQL is empty string!");
  EXPECT_EQ(run(insert), 0u) << "a batch without columns is a success";
  EXPECT_EQ(takeEvents(),
            "info scrubbed [VORNLib]ExecBatchInserter! paramMap is empty! @MiraDB:ExecBatchInserter:105");
  batch["b"] << 1 << 2;
  batch["a"] << 1 << 2 << 3;
  expectRefusal(insert, "ExecBatchInserter:141", "ExecBatchInserter! paramMap is error!");
}

TEST_F(ExecutorTest, GuardHandsOutADatabaseAndIgnoresTheName) {
  CVORN* db = nullptr;
  const GuardDB guard("TaskDB", db, true);
  EXPECT_EQ(db->commitTransaction(), 0u);
  EXPECT_EQ(takeEvents(), "open NeUpgradeDB; commit NeUpgradeDB; close NeUpgradeDB");
}

}  // namespace
