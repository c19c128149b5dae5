#include <gtest/gtest.h>

#include <algorithm>
#include <new>

#include "scripted/scripted_platform.h"
#include "vorn/batch_inserter.h"
#include "vorn/database.h"
#include "vorn/reader.h"

namespace {

bool nothrowNewFails = false;

}  // namespace

// The reader alone in these tests asks for memory without an exception.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return nothrowNewFails ? nullptr : ::operator new(size);
}

namespace {

using Events = std::vector<std::string>;
using scripted::platform;

class ExecutorTest : public scripted::PlatformTest {
 protected:
  static CVORNsqlstr sql(const std::string& text) {
    CVORNsqlstr statement;
    statement.assign(text);
    return statement;
  }

  MIRAsqlDB m_db{false};
  CVORNReader m_reader;
};

const vorn::ExecResult kFailed(-3, 0x100000801, "UNIQUE constraint failed");
const vorn::ExecResult kFailedSilently(1, 77, std::nullopt);

TEST_F(ExecutorTest, ChoosesTheSessionNameByFlagAndProcess) {
  const struct {
    bool flag;
    std::uint32_t process;
    const char* name;
    int processIdCalls;
  } cases[] = {
      {false, 4073, "default", 0},           {false, 1, "default", 0},
      {true, 4073, "NeBackupDB", 1},         {true, 4222, "NeBackupDB", 2},
      {true, 4073 + 65536, "NeBackupDB", 1}, {true, 4222 + 7 * 65536, "NeBackupDB", 2},
      {true, 1, "NeUpgradeDB", 2},           {true, 4074, "NeUpgradeDB", 2},
      {true, 0xFFFFFFFF, "NeUpgradeDB", 2},
  };
  BatchInserter batch;
  batch["a"] << 1;
  for (const auto& c : cases) {
    const std::string open = std::string("open ") + c.name;
    MIRAsqlDB db(c.flag);
    CVORNReader reader;
    const std::function<unsigned long()> operations[] = {
        [&] { return db.beginTransaction(); },       [&] { return db.commitTransaction(); },
        [&] { return db.rollbackTransaction(); },    [&] { return db.execWriteSQL(sql("w")); },
        [&] { return db.ExecBatchInserter(batch); }, [&] { return db.execReadSQL(sql("r"), reader); },
    };
    for (const auto& operation : operations) {
      platform() = scripted::Platform();
      platform().processId = c.process;
      EXPECT_EQ(operation(), 0u);
      const Events& events = platform().events;
      EXPECT_EQ(std::count(events.begin(), events.end(), open), 1) << open << ' ' << c.process;
      EXPECT_EQ(platform().processIdCalls, c.processIdCalls);
    }
  }
}

TEST_F(ExecutorTest, RunsEachTransactionStepOnAFreshSessionAndLogsNothing) {
  // A step that succeeds with a code returns the code all the same.
  platform().results = {kFailed, {0, 5, std::nullopt}, {}};
  EXPECT_EQ(m_db.beginTransaction(), kFailed.errorCode());
  EXPECT_EQ(m_db.commitTransaction(), 5u);
  EXPECT_EQ(m_db.rollbackTransaction(), 0u);
  EXPECT_EQ(platform().events, (Events{"open default", "begin default", "close default",   //
                                       "open default", "commit default", "close default",  //
                                       "open default", "rollback default", "close default"}));
}

TEST_F(ExecutorTest, Writes) {
  const struct {
    const char* text;
    vorn::ExecResult result;
    unsigned long code;
    const char* lastLog;
  } cases[] = {
      {"delete from t", {}, 0, nullptr},
      {"delete from t", {0, 9, "a remark"}, 0, nullptr},
      {"x", kFailed, kFailed.errorCode(),
       "info scrubbed [VORNLib]UNIQUE constraint failed @MiraDB:execWriteSQL:86"},
      {"x", kFailedSilently, 77, "info scrubbed [VORNLib] @MiraDB:execWriteSQL:86"},
      {"x", {2, 0, ""}, 0, "info scrubbed [VORNLib] @MiraDB:execWriteSQL:86"},
  };
  for (const auto& c : cases) {
    platform() = scripted::Platform();
    platform().results = {c.result};
    EXPECT_EQ(m_db.execWriteSQL(sql(c.text)), c.code);
    Events expected{"open default", std::string("execute default MiraDB:execWriteSQL:84 4 ") + c.text,
                    "close default"};
    if (c.lastLog != nullptr) expected.emplace_back(c.lastLog);
    EXPECT_EQ(platform().events, expected);
  }
}

TEST_F(ExecutorTest, ReadsAndLeavesTheSessionWithTheReader) {
  platform().rows = {scripted::row(1)};
  EXPECT_EQ(m_db.execReadSQL(sql("select 1"), m_reader), 0u);
  EXPECT_TRUE(m_reader());
  EXPECT_EQ(m_db.execReadSQL(sql("select 2"), m_reader), 0u) << "an uncleared reader keeps its session";
  m_reader.clear();
  platform().results = {kFailed, kFailedSilently};
  EXPECT_EQ(m_db.execReadSQL(sql("x"), m_reader), kFailed.errorCode());
  EXPECT_EQ(m_db.execReadSQL(sql("y"), m_reader), 77u);
  EXPECT_EQ(platform().openSessions, 1) << "a failed read keeps its session";
  EXPECT_EQ(platform().events,
            (Events{"trace @MiraDB:execReadSQL:55", "open default",
                    "execute default MiraDB:execReadSQL:63 0 select 1", "fetch default 105 100",
                    "trace @MiraDB:execReadSQL:55", "execute default MiraDB:execReadSQL:63 0 select 2",
                    "close default", "trace @MiraDB:execReadSQL:55", "open default",
                    "execute default MiraDB:execReadSQL:63 0 x",
                    "info scrubbed [VORNLib]UNIQUE constraint failed @MiraDB:execReadSQL:65",
                    "trace @MiraDB:execReadSQL:55", "execute default MiraDB:execReadSQL:63 0 y",
                    "info scrubbed [VORNLib] @MiraDB:execReadSQL:65"}));
}

TEST_F(ExecutorTest, RefusesEmptyStatementsAndUnboundReaders) {
  EXPECT_EQ(m_db.execWriteSQL(CVORNsqlstr()), 1u);
  EXPECT_EQ(m_db.execReadSQL(CVORNsqlstr(), m_reader), 1u);
  nothrowNewFails = true;
  EXPECT_EQ(m_db.execReadSQL(sql("select 1"), m_reader), 1u);
  nothrowNewFails = false;
  EXPECT_EQ(platform().events,
            (Events{"error 1 scrubbed [VORNLib]execWriteSQL! strSQL is empty string! @MiraDB:execWriteSQL:80",
                    "trace @MiraDB:execReadSQL:55",
                    "error 1 scrubbed [VORNLib]Exception! strSQL is empty string! @MiraDB:execReadSQL:58",
                    "trace @MiraDB:execReadSQL:55",
                    "error 1 scrubbed [VORNLib]Exception! strSQL is empty string! @MiraDB:execReadSQL:69"}));
}

TEST_F(ExecutorTest, ReleasesItsSessionWhenTheLayerThrows) {
  platform().onExecute = [](const std::string&, const vorn::TypedRef*) { throw std::bad_alloc(); };
  BatchInserter batch;
  batch["a"] << 1;
  EXPECT_THROW(m_db.execWriteSQL(sql("x")), std::bad_alloc);
  EXPECT_THROW(m_db.ExecBatchInserter(batch), std::bad_alloc);
  EXPECT_EQ(platform().openSessions, 0);
  EXPECT_TRUE(platform().logs.empty());
}

TEST_F(ExecutorTest, GuardHandsOutADatabaseThatIgnoresTheName) {
  CVORN* db = nullptr;
  platform().processId = 4222;
  {
    const GuardDB guard("TaskDB", db, true);
    ASSERT_NE(dynamic_cast<MIRAsqlDB*>(db), nullptr);
    EXPECT_EQ(db->commitTransaction(), 0u);
  }
  EXPECT_NE(db, nullptr) << "the caller's pointer is not reset";
  EXPECT_EQ(platform().events.front(), "open NeBackupDB");
}

}  // namespace
