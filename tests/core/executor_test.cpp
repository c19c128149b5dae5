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
  using Operation = std::function<unsigned long(MIRAsqlDB&)>;

  ExecutorTest() { statement.assign("sql"); }

  unsigned long run(const Operation& operation, bool flag = false) {
    MIRAsqlDB db(flag);
    return operation(db);
  }

  CVORNsqlstr statement;
  CVORNReader reader;
  BatchInserter batch;
  const Operation begin = [](MIRAsqlDB& db) { return db.beginTransaction(); };
  const Operation commit = [](MIRAsqlDB& db) { return db.commitTransaction(); };
  const Operation rollback = [](MIRAsqlDB& db) { return db.rollbackTransaction(); };
  const Operation write = [this](MIRAsqlDB& db) { return db.execWriteSQL(statement); };
  const Operation read = [this](MIRAsqlDB& db) { return db.execReadSQL(statement, reader); };
  const Operation insert = [this](MIRAsqlDB& db) { return db.ExecBatchInserter(batch); };

  const std::string writeEvents =
      "open default; identify MiraDB:execWriteSQL:84; execute default MiraDB:execWriteSQL:84 4 sql; close "
      "default";
  const std::string readEvents =
      "trace @MiraDB:execReadSQL:55; open default; identify MiraDB:execReadSQL:63; "
      "execute default MiraDB:execReadSQL:63 0 sql";
  const std::string insertEvents =
      "open default; identify MiraDB:ExecBatchInserter:147; "
      "execute default MiraDB:ExecBatchInserter:147 1 insert into  (a) values({a}); close default";
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
  const vorn::ExecResult remark(0, 5, "remark");
  const vorn::ExecResult failed(-3, 99, "broken");
  const vorn::ExecResult silent(1, 77, {});
  const std::string writeInfo = "; info scrubbed [VORNLib]broken @MiraDB:execWriteSQL:86";
  const std::string readInfo = "; info scrubbed [VORNLib]broken @MiraDB:execReadSQL:65";
  const std::string insertInfo = "; info scrubbed [VORNLib]broken @MiraDB:ExecBatchInserter:149";
  const std::tuple<Operation, vorn::ExecResult, unsigned long, std::string> cases[] = {
      {begin, failed, 99, "open default; begin default; close default"},
      {commit, remark, 5, "open default; commit default; close default"},  // the code, even of a success
      {rollback, {}, 0, "open default; rollback default; close default"},
      {write, remark, 0, writeEvents},
      {write, failed, 99, writeEvents + writeInfo},
      {write, silent, 77, writeEvents + "; info scrubbed [VORNLib] @MiraDB:execWriteSQL:86"},
      {read, remark, 0, readEvents},
      {read, failed, 99, readEvents + readInfo},
      {insert, remark, 0, insertEvents},
      {insert, failed, 99, insertEvents + insertInfo},
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
  EXPECT_EQ(takeEvents(), writeEvents + "; " + insertEvents);
}

TEST_F(ExecutorTest, RefusesWhatItCannotRun) {
  struct : BatchInserter {
    std::string toString() const override { return {}; }
  } wordless;
  const auto expectRefusal = [&](const Operation& operation, const std::string& events) {
    EXPECT_EQ(run(operation), 1u);
    EXPECT_EQ(takeEvents(), events);
  };
  const std::string trace = "trace @MiraDB:execReadSQL:55; ";
  const std::string error = "error 1 scrubbed [VORNLib]";
  const std::string empty = "! strSQL is empty string! @MiraDB:";
  const std::string uneven = error + "ExecBatchInserter! paramMap is error! @MiraDB:ExecBatchInserter:141";
  FailingAllocations::nothrowFails = true;
  const unsigned long withoutMemory = run(read);
  FailingAllocations::nothrowFails = false;
  EXPECT_EQ(withoutMemory, 1u);
  EXPECT_EQ(takeEvents(), trace + error + "Exception" + empty + "execReadSQL:69");
  statement.assign("");
  expectRefusal(read, trace + error + "Exception" + empty + "execReadSQL:58");
  expectRefusal(write, error + "execWriteSQL" + empty + "execWriteSQL:80");
  expectRefusal([&](MIRAsqlDB& db) { return db.ExecBatchInserter(wordless); },
                error + "ExecBatchInserter" + empty + "ExecBatchInserter:97");
  EXPECT_EQ(run(insert), 0u) << "a batch without columns is a success";
  EXPECT_EQ(takeEvents(),
            "info scrubbed [VORNLib]ExecBatchInserter! paramMap is empty! @MiraDB:ExecBatchInserter:105");
  batch["b"] << 1 << 2;
  batch["a"] << 1 << 2 << 3;
  expectRefusal(insert, uneven);
  batch["b"] << 3 << 4;
  expectRefusal(insert, uneven);
}

TEST_F(ExecutorTest, GuardHandsOutADatabaseAndIgnoresTheName) {
  CVORN* db = nullptr;
  const GuardDB guard("TaskDB", db, true);
  ASSERT_NE(dynamic_cast<MIRAsqlDB*>(db), nullptr);
  EXPECT_EQ(db->commitTransaction(), 0u);
  EXPECT_EQ(takeEvents(), "open NeUpgradeDB; commit NeUpgradeDB; close NeUpgradeDB");
}

}  // namespace
