#pragma once

#include "faults/Ledger.h"
#include "store/store_fixture.h"

/// Tests that do harm to a store with tables t(n, v), for which a Ledger may be kept, r(n), which holds 1 to
/// kReadRows, and hot(n, v), whose two rows a Storm raises.
class HarmTest : public StoreTest {
 public:
  static constexpr long kReadRows = 200;

  /// A reader of r.
  struct Reading {
    CVORNReader reader;
    long last = 0;
    bool isInOrder = true;

    unsigned long start(CVORN* db) {
      return db->execReadSQL(raw("select n, n || ' is a row of the table that is read' from r order by n"),
                             reader);
    }

    /// Reads on to a row, or as far as there are rows.
    void take(long upTo) {
      while (last < upTo && reader.hasNextElement()) {
        ++last;
        long n = 0;
        std::string text;
        reader >> n >> text;
        isInOrder =
            isInOrder && n == last && text == std::to_string(n) + " is a row of the table that is read";
      }
    }

    /// Reads to the end. @return whether it brought all rows in order, or the first ones and a failure
    bool endsWell() {
      take(kReadRows + 1);
      return isInOrder && (last == kReadRows || !vorn::lastResult().succeeded());
    }
  };

  /// The numbers n of an operation begin at this multiple of its own number.
  static constexpr long kMostRows = 100000;

  /// Inserts rows of an operation, from its row `first` on: one alone, more as a batch.
  static unsigned long send(CVORN* db, long operation, long first, long rows) {
    BatchInserter batch;
    batch.table("t");
    for (long n = operation * kMostRows + first; rows > 1 && n < operation * kMostRows + first + rows; ++n) {
      batch["n"] << n;
      batch["v"] << operation;
    }
    if (rows > 1) return db->ExecBatchInserter(batch);
    const std::string n = std::to_string(operation * kMostRows + first);
    return db->execWriteSQL(raw("insert into t values(" + n + ", " + std::to_string(operation) + ")"));
  }

 protected:
  HarmTest() {
    alarm(240);  // a hang ends the process
    vorn::setLogSink([](const vorn::LogRecord&) {});
  }
  ~HarmTest() override { alarm(0); }

  void prepare(const std::string& url) {
    useStore(url);
    ASSERT_EQ(run(db, "create table t(n bigint, v bigint)"), kSuccess);
    ASSERT_EQ(run(db, "create table r(n bigint)"), kSuccess);
    ASSERT_EQ(run(db, "create table hot(n bigint primary key, v bigint)"), kSuccess);
    ASSERT_EQ(run(db, "insert into hot values(1, 0), (2, 0)"), kSuccess);
    BatchInserter rows;
    rows.table("r");
    for (long row = 1; row <= kReadRows; ++row) rows["n"] << row;
    ASSERT_EQ(db->ExecBatchInserter(rows), 0U);
  }
};
