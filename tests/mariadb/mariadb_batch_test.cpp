// Batches, whose values are bound, against the same values as literals of a statement's text.
#include <cfloat>
#include <climits>
#include <cstdio>
#include <random>
#include <utility>

#include "mariadb/MariaDbServer.h"
#include "store/store_fixture.h"

namespace {

const std::vector<std::string> kTypes = split(
    "tinyint(1);tinyint unsigned;smallint;int;int unsigned;bigint;bigint unsigned;int "
    "zerofill;float;double;float(7,3);"
    "double(9,2);float "
    "unsigned;decimal;decimal(6,2);decimal(65,30);bit(1);bit(8);bit(64);year;date;time;time(3);datetime;"
    "datetime(6);timestamp null;char(3);varchar(4);varchar(60);text;char(60) character set latin1;"
    "varchar(60) character set "
    "ascii;binary(4);varbinary(60);blob;enum('a','1','b');set('a','b','1');json;inet6;uuid;point",
    ";");

std::vector<std::string> texts() {
  auto result = split(std::string("|0|1|-1|7|127|128|256|1.5|2.5|0.005|1e2|1e-7|-0|+3| 4|4 "
                                  "|0x10|70000|3000000000|18446744073709551615|1e400|a|b|a,b|"
                                  "abc|abcd|abcde|true|NULL|2024-02-30|2024-01-31|2024-01-31 "
                                  "10:00:00.7|0000-00-00|2024-01-31T10:00:00Z|10:11:12.3456|"
                                  "838:59:59|900:00:00|2155|1900|99|{}|{\"a\":1}|[1|::1|127.0.0.1|ä|€|"
                                  "\xf0\x9f\x98\x80|\xff|it's|\\|\\'|a\\b|\"|"
                                  "123e4567-e89b-12d3-a456-426655440000|?|%s|") +
                          '\0' + "|a" + '\0' + "b",
                      "|");
  return result;
}
const std::vector<long> kLongs = {
    0,    1,    -1,       7,      99,    127,        128,      -128,     255,           256,
    1970, 2155, 20240131, 101112, 65536, 3000000000, LONG_MAX, LONG_MIN, 20240131101112};
const std::vector<unsigned long> kUnsigned = {0, 1, 255, 20240131, LONG_MAX, LONG_MAX + 1UL, ULONG_MAX};
const std::vector<double> kDoubles = {0,        -0.0,
                                      1,        -1,
                                      0.5,      1.5,
                                      2.5,      -2.5,
                                      0.1,      0.005,
                                      0.125,    1.005,
                                      1e-7,     1.0 / 3,
                                      99.99,    99.995,
                                      255,      255.5,
                                      70000,    3e9,
                                      1e15,     123456789012345680.0,
                                      1e17,     1e22,
                                      9.3e18,   1.8446744073709552e19,
                                      1e65,     1e100,
                                      FLT_MAX,  DBL_MAX,
                                      DBL_MIN,  5e-324,
                                      20240131, 101112.5};
const std::vector<float> kFloats = {0, 1, 0.1F, 1.5F, 0.005F, 16777216, 3e9F, FLT_MAX, FLT_MIN, 99.995F};

// A text with a zero byte has no literal of its own.
std::string literal(const std::string& value) {
  return value.find('\0') == std::string::npos
             ? "'" + escaped(value) + "'"
             : "concat('" + replaced(value, std::string(1, 0), "', convert(x'00' using utf8mb4), '") + "')";
}
std::string literal(long value) {
  return std::to_string(value);
}
std::string literal(unsigned long value) {
  return std::to_string(value);
}
std::string literal(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.16e", value);
  return text;
}

class MariaDbBatch : public StoreTest {
 protected:
  void SetUp() override { useStore(sharedMariaDbServer().freshDatabase()); }

  template <typename Value>
  std::string insertBatch(const std::string& column, const std::vector<Value>& values) {
    BatchInserter batch;
    batch.table("b");
    for (const Value& value : values) batch[column] << value;
    return describe(db->ExecBatchInserter(batch));
  }

  static long rowsWritten() {
    static unsigned long last = 0;
    unsigned long sum = 0;
    for (const auto& each : vorn::statementStatistics()) sum += each.rows;
    return static_cast<long>(sum - std::exchange(last, sum));
  }

  /// Inserts values one by one and then all that are taken at once, into b by batches and into a as literals.
  template <typename Value>
  void compare(const std::string& column, const std::vector<Value>& values) {
    const std::string insert = "insert into a (" + column + ") values(";
    std::vector<Value> taken;
    std::string literals;
    for (const Value& value : values) {
      const std::string expected = run(db, insert + literal(value) + ")");
      EXPECT_EQ(insertBatch(column, std::vector<Value>{value}), expected) << column << " " << literal(value);
      if (expected != kSuccess) continue;
      taken.push_back(value);
      literals += (literals.empty() ? "" : "),(") + literal(value);
    }
    if (taken.empty()) return;
    EXPECT_EQ(run(db, insert + literals + ")"), kSuccess) << column;
    EXPECT_EQ(insertBatch(column, taken), kSuccess) << column;
  }
};

TEST_F(MariaDbBatch, KeepsEachValueAsItsLiteralDoes) {
  std::string columns;
  for (std::size_t type = 0; type < kTypes.size(); ++type) {
    columns += ", v" + std::to_string(type) + " " + kTypes[type];
  }
  for (const std::string table : {"a", "b"}) {
    ASSERT_EQ(run(db, "create table " + table + "(n int auto_increment primary key" + columns + ")"),
              kSuccess);
  }
  for (std::size_t type = 0; type < kTypes.size(); ++type) {
    SCOPED_TRACE(kTypes[type]);
    const std::string column = "v" + std::to_string(type);
    compare(column, texts());
    compare(column, kLongs);
    compare(column, kUnsigned);
    compare(column, kDoubles);
    compare(column, kFloats);
    const std::string select = "select hex(" + column + "), " + column + " from ";
    EXPECT_EQ(rowsOf(db, select + "b order by n"), rowsOf(db, select + "a order by n"));
    for (const char* table : {"a", "b"}) run(db, std::string("delete from ") + table);
  }
}

// What may stand in a batch, for the table T.
const std::vector<std::string> kStatements = {
    "insert into T (k, v) values({k}, {v})",
    "insert into T (v, k) values ({v}, {k})",
    "insert into T values({k}, {v}, {k})",
    "insert into T set k = {k}, v = {v}",
    "insert into T (k, v) values({k}, concat({v}, 'x'))",
    "insert into T (k, v) values({k}, {v}), ({k} + 500, {v})",
    "insert ignore into T (k, v) values({k}, {v})",
    "insert ignore into T (k, v, w) values({k}, {v}, 5000000000 * {k})",
    "replace into T (k, v) values({k}, {v})",
    "insert into T (k, v) values({k}, {v}) on duplicate key update v = {v}, w = w + {k}",
    "insert into T (k, v) values({k}, {v}) on duplicate key update v = values(v), w = 8",
    "insert into T (k, v) select {k}, {v}",
    "insert into T (k, v) select k + 1000, {v} from T where k = {k}",
    "insert into T (k, v) values({k}, {v}) returning k, {v}",
    "update T set v = {v}, w = w + {k} where k = {k}",
    "update T set v = {v} where k > {k} limit 2",
    "update ignore T set k = k + 1, v = {v} where k = {k}",
    "delete from T where k = {k} and v <> {v}",
    "delete from T where k = {k} or v = {v} returning k",
    "select k, {v} from T where k = {k}",
    "set @k = {k}, @v = {v}",
    "do length({v}) + {k}"};

TEST_F(MariaDbBatch, DoesForEachRowWhatTheStatementDoes) {
  for (const char* table : {"a", "b"}) {
    ASSERT_EQ(
        run(db, std::string("create table ") + table + "(k int primary key, v varchar(4), w int default 7)"),
        kSuccess);
  }
  std::mt19937 random(testSeed());
  for (int round = 0; round < 1000; ++round) {
    const std::string& statement = kStatements[random() % kStatements.size()];
    struct : BatchInserter {
      std::string text;
      std::string toString() const override { return text; }
    } batch;
    batch.text = replaced(statement, "T", "a");
    const std::size_t rows = random() % 4 == 0 ? 40 : 1 + random() % 4;
    const long keys = 5 + static_cast<long>(random() % 100);
    const bool nested = random() % 3 == 0;
    std::vector<std::string> single;
    for (std::size_t row = 0; row < rows; ++row) {
      const long k = static_cast<long>(random()) % keys;
      const std::string v = random() % 40 == 0 ? "toolong" : std::to_string(random() % 20);
      batch["k"] << k;
      batch["v"] << v;
      single.push_back(
          replaced(replaced(replaced(statement, "T", "b"), "{k}", literal(k)), "{v}", literal(v)));
    }
    if (nested) db->beginTransaction();
    rowsWritten();
    const std::string found = describe(db->ExecBatchInserter(batch));
    const std::string detail = vorn::lastResult().detail().value_or("");
    const long foundRows = rowsWritten();
    if (!nested) db->beginTransaction();
    run(db, "savepoint s");
    std::string expected;
    rowsWritten();
    for (const std::string& text : single) {
      if ((expected = run(db, text)) != kSuccess) break;
    }
    const long expectedRows = expected == kSuccess ? rowsWritten() : 0;
    if (expected != kSuccess) run(db, "rollback to savepoint s");
    EXPECT_EQ(db->commitTransaction(), 0U);
    EXPECT_EQ(found, expected) << statement << single.size() << detail;
    EXPECT_EQ(foundRows, expectedRows) << statement;
    ASSERT_EQ(rowsOf(db, "select * from a order by k"), rowsOf(db, "select * from b order by k"))
        << statement << " " << rows << found;
    if (round % 10 == 0) {
      run(db, "delete from a");
      run(db, "delete from b");
    }
  }
}

// So small that a batch goes out in many pieces.
TEST_F(MariaDbBatch, OfManyPiecesIsKeptWholeOrNotAtAll) {
  const MariaDbServer server("max_allowed_packet=32K\nmax_statement_time=1\n");
  server.query("create database small");
  useStore(server.url("small") + "?pool_size=1");
  ASSERT_EQ(run(db, "create table t(n int primary key, v text)"), kSuccess);
  const auto send = [this](const std::string& last, long rows = 3000) {
    BatchInserter batch;
    batch.table("t");
    for (long row = 1; row <= rows; ++row) {
      batch["n"] << row;
      batch["v"] << (row == rows ? last : std::string(100, 'x'));
    }
    return describe(db->ExecBatchInserter(batch));
  };
  const std::string count = "select count(*), max(length(v)) from t";
  ASSERT_EQ(send(std::string(31000, 'y')), kSuccess);
  EXPECT_EQ(rowsOf(db, count), "3000|31000");
  ASSERT_EQ(run(db, "delete from t"), kSuccess);
  ASSERT_EQ(run(db,
                "create trigger g before insert on t for each row begin"
                " if new.v = 'kill' then kill connection_id(); end if;"
                " if new.v = 'wait' then set @ignored = sleep(10); end if; end"),
            kSuccess);
  ASSERT_EQ(run(db, "insert into t values(0, 'first')"), kSuccess);
  const std::pair<std::string, std::string> failures[] = {
      {std::string(40000, 'y'), "mariadb 1153 ER_NET_PACKET_TOO_LARGE"},
      {"kill", "mariadb 1927 ER_CONNECTION_KILLED"},
      {"wait", "mariadb 1969 ER_STATEMENT_TIMEOUT"}};
  for (const auto& [last, failure] : failures) {
    for (const bool nested : {false, true}) {
      if (nested) {
        ASSERT_EQ(db->beginTransaction(), 0U);
        ASSERT_EQ(run(db, "insert into t values(-1, 'before')"), kSuccess);
      }
      EXPECT_EQ(send(last), failure) << nested;
      const bool lost = last == "kill";
      EXPECT_TRUE(!nested ||
                  describe(db->commitTransaction()) == (lost ? "vorn 10 TRANSACTION_LOST" : kSuccess));
      EXPECT_EQ(rowsOf(db, count), nested && !lost ? "2|6" : "1|5") << failure;
      run(db, "delete from t where n < 0");
    }
  }
  EXPECT_EQ(send("last"), kSuccess);
}

// A prepared insert means the table of the database that it was prepared in.
TEST_F(MariaDbBatch, GoesToTheTableThatTheSessionSees) {
  const std::string other = sharedMariaDbServer().freshDatabase();
  const std::string name = other.substr(other.rfind('/') + 1);
  ASSERT_EQ(run(db, "create table t(n int primary key, v int)"), kSuccess);
  ASSERT_EQ(run(db, "create table " + name + ".t(n int primary key, v varchar(9))"), kSuccess);
  for (long first = 0; first < 3; ++first) ASSERT_EQ(db->ExecBatchInserter(numbers(1, first)), 0U);
  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(run(db, "use " + name), kSuccess);
  ASSERT_EQ(db->ExecBatchInserter(numbers(2, 10)), 0U);
  ASSERT_EQ(db->commitTransaction(), 0U);
  ASSERT_EQ(run(db, "alter table t modify v varchar(20), add w int default 7 first"), kSuccess);
  ASSERT_EQ(db->ExecBatchInserter(numbers(1, 5)), 0U);
  EXPECT_EQ(rowsOf(db, "select * from t order by n"), "7|0|0;7|1|0;7|2|0;7|5|0");
  EXPECT_EQ(rowsOf(db, "select n from " + name + ".t"), "10;11");
}

}  // namespace
