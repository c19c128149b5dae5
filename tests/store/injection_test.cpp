#include "faults/HarmTest.h"

// Texts that try to leave their place in a statement, in every operation that takes a text; docs/security.md
// says what each operation makes of them. None of them runs a second statement, and none of their values
// reaches a log.
namespace {

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

/// Makes a statement of a text, or of the number of a row and a text, and runs it.
struct Operation {
  const char* name;
  std::function<unsigned long(CVORN&, long, const std::string&)> run;
};

template <typename Statement, typename Fill>
Operation operation(const char* name, Fill fill) {
  return {name, [fill](CVORN& db, long row, const std::string& text) {
            Statement statement;
            fill(statement, row, text);
            if constexpr (std::is_same_v<Statement, BatchInserter>)
              return db.ExecBatchInserter(statement);
            else
              return db.execWriteSQL(statement);
          }};
}

// What keeps its text.
const Operation kSafe[] = {
    operation<CVORNInserter>("inserter",
                             [](auto& insert, long row, const std::string& text) {
                               insert.table("t");
                               insert["n"]["s"] << row << text;
                             }),
    operation<CVORNUpdater>("updater",
                            [](auto& update, long row, const std::string& text) {
                              CVORNTable t = update.table("t");
                              update["s"].assign(text);
                              update.where(t["n"] == row);
                            }),
    operation<BatchInserter>("batch", [](auto& batch, long row, const std::string& text) {
      batch.table("t");
      for (const long n : {row, -row}) batch["n"] << n;
      for (int times = 0; times < 2; ++times) batch["s"] << text;
    })};

// What takes its text for a piece of the statement.
const Operation kUnsafe[] = {
    operation<CVORNsqlstr>("raw", [](auto& raw, long, auto& text) { raw.assign("select " + text); }),
    operation<CVORNsqlstr>("literal", [](auto& raw, long, auto& text) { raw.assign("select '" + text); }),
    operation<CVORNSelector>(
        "equality",
        [](auto& select, long, const std::string& text) { select.where(select.table("t")["s"] == text); }),
    operation<CVORNDeleter>("list",
                            [](auto& remove, long, const std::string& text) {
                              remove.where(remove.table("t")["s"].notIn(text));
                            }),
    operation<CVORNSelector>("column",
                             [](auto& select, long, const std::string& text) {
                               select.table("t");
                               select.select(text);
                             }),
    operation<CVORNInserter>("table",
                             [](auto& insert, long, const std::string& text) {
                               insert.table(text);
                               insert["n"] << 1;
                             }),
    operation<BatchInserter>("batch table",
                             [](auto& batch, long, const std::string& text) {
                               batch.table(text);
                               batch["n"] << 1 << 2;
                             }),
    operation<BatchInserter>("batch column",
                             [](auto& batch, long, const std::string& text) {
                               batch.table("t");
                               batch[text] << 1 << 2;
                             }),
    operation<CVORNDroper>("dropper", [](auto& drop, long, auto& text) { drop.table(text); })};

TEST_P(Injection, KeepsTextsThatAreValuesAndRunsNoSecondStatement) {
  LogCapture lines;
  for (const auto& [line, unused] : casesOf("store/hostile.txt")) {
    const std::string text = replaced(line, "\\n", "\n");
    for (const auto& [name, store] : kSafe) {
      const std::string value = kCanary + text, row = std::to_string(++m_row);
      if (name == std::string("updater")) run(db, "insert into t values(" + row + ", null)");
      EXPECT_EQ(describe(store(*db, m_row, value)), kSuccess) << name << ": " << text;
      EXPECT_EQ(rowOf(value), row) << name << ": " << text;
      EXPECT_EQ(rowsOf(db, "select s from t where n = " + row), value) << name;
    }
    for (const auto& [name, make] : kUnsafe) {
      // What stands for a name may be shown.
      make(*db, 0, name == std::string("literal") ? kCanary + text : text);
      EXPECT_EQ(rowsOf(db, "select count(*) from victim"), "1") << name << ": " << text;
      db->rollbackTransaction();
    }
  }
  EXPECT_EQ(run(db, std::string("delete from t\0", 14)), "vorn 5 EMBEDDED_NUL");
  EXPECT_EQ(lines.texts().find(kCanary), std::string::npos) << lines.texts();
}

INSTANTIATE_TEST_SUITE_P(Stores, Injection, testing::ValuesIn(storeKinds()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace
