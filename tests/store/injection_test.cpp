#include "faults/HarmTest.h"

// Texts that try to leave their place in a statement, in every operation that takes a text; docs/security.md
// says what each operation makes of them. None of them runs a second statement, and none of their values
// reaches a log.
namespace {

using Make = std::function<unsigned long(CVORN&, const std::string&)>;

class Injection : public StoreTest, public testing::WithParamInterface<StoreKind> {
 protected:
  void SetUp() override {
    useStore(GetParam().freshUrl());
    ASSERT_EQ(run(db, "create table t(n integer, s varchar(2000))"), kSuccess);
    ASSERT_EQ(run(db, "create table victim(n integer)"), kSuccess);
    ASSERT_EQ(run(db, "insert into victim values(1)"), kSuccess);
  }

  std::string rowOf(const std::string& text) {
    CVORNSelector select;
    CVORNTable t = select.table("t");
    select.select("n");
    select.where(t["s"] <= text && t["s"] >= text && t["n"] == m_row);
    CVORNReader reader;
    return db->execReadSQL(select, reader) == 0 ? rowsOf(reader) : "refused";
  }

  long m_row = 0;
};

const std::string kCanary = "geheim4711";

// What keeps its text.
const std::pair<const char*, std::function<unsigned long(CVORN&, long, const std::string&)>> kSafe[] = {
    {"inserter",
     [](CVORN& db, long row, const std::string& text) {
       CVORNInserter insert;
       insert.table("t");
       insert["n"]["s"] << row << text;
       return db.execWriteSQL(insert);
     }},
    {"updater",
     [](CVORN& db, long row, const std::string& text) {
       db.execWriteSQL(raw("insert into t values(" + std::to_string(row) + ", null)"));
       CVORNUpdater update;
       CVORNTable t = update.table("t");
       update["s"].assign(text);
       update.where(t["n"] == row);
       return db.execWriteSQL(update);
     }},
    {"batch",
     [](CVORN& db, long row, const std::string& text) {
       BatchInserter batch;
       batch.table("t");
       for (const long n : {row, -row}) batch["n"] << n;
       for (int times = 0; times < 2; ++times) batch["s"] << text;
       return db.ExecBatchInserter(batch);
     }},
};

// What takes its text for a piece of the statement.
const std::pair<const char*, Make> kUnsafe[] = {
    {"raw", [](CVORN& db, const std::string& text) { return db.execWriteSQL(raw("select " + text)); }},
    {"literal", [](CVORN& db, const std::string& text) { return db.execWriteSQL(raw("select '" + text)); }},
    {"equality",
     [](CVORN& db, const std::string& text) {
       CVORNSelector select;
       CVORNTable t = select.table("t");
       select.select("n");
       select.where(t["s"] == text);
       CVORNReader reader;
       return db.execReadSQL(select, reader);
     }},
    {"list",
     [](CVORN& db, const std::string& text) {
       CVORNDeleter remove;
       CVORNTable t = remove.table("t");
       remove.where(t["s"].notIn(text));
       return db.execWriteSQL(remove);
     }},
    {"column",
     [](CVORN& db, const std::string& text) {
       CVORNSelector select;
       select.table("t");
       select.select(text);
       CVORNReader reader;
       return db.execReadSQL(select, reader);
     }},
    {"table",
     [](CVORN& db, const std::string& text) {
       CVORNInserter insert;
       insert.table(text);
       insert["n"] << 1;
       return db.execWriteSQL(insert);
     }},
    {"batch table",
     [](CVORN& db, const std::string& text) {
       BatchInserter batch;
       batch.table(text);
       batch["n"] << 1 << 2;
       return db.ExecBatchInserter(batch);
     }},
    {"batch column",
     [](CVORN& db, const std::string& text) {
       BatchInserter batch;
       batch.table("t");
       batch[text] << 1 << 2;
       return db.ExecBatchInserter(batch);
     }},
    {"dropper",
     [](CVORN& db, const std::string& text) {
       CVORNDroper drop;
       drop.table(text);
       return db.execWriteSQL(drop);
     }},
};

TEST_P(Injection, KeepsTextsThatAreValuesAndRunsNoSecondStatement) {
  LogCapture lines;
  for (const auto& [line, unused] : casesOf("store/hostile.txt")) {
    const std::string text = replaced(line, "\\n", "\n");
    for (const auto& [name, store] : kSafe) {
      const std::string value = kCanary + text;
      EXPECT_EQ(describe(store(*db, ++m_row, value)), kSuccess) << name << ": " << text;
      EXPECT_EQ(rowOf(value), std::to_string(m_row)) << name << ": " << text;
      EXPECT_EQ(rowsOf(db, "select s from t where n = " + std::to_string(m_row)), value) << name;
    }
    for (const auto& [name, make] : kUnsafe) {
      // What stands for a name may be shown.
      make(*db, name == std::string("literal") ? kCanary + text : text);
      EXPECT_EQ(rowsOf(db, "select count(*) from victim"), "1") << name << ": " << text;
      db->rollbackTransaction();
    }
  }
  EXPECT_EQ(lines.texts().find(kCanary), std::string::npos) << lines.texts();
}

INSTANTIATE_TEST_SUITE_P(Stores, Injection, testing::ValuesIn(storeKinds()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace
