#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "support.h"
#include "vorn/vorn.h"

/// What the tests know about a kind of store.
struct StoreKind {
  std::string name;
  std::string family;                     ///< of its errors, as describeError() has it
  std::string scenarios;                  ///< the file of those that only it runs
  std::function<std::string()> freshUrl;  ///< the URL of an empty store, without a query
  bool isRemote;                          ///< a call may have been carried out and its answer be lost
  std::string integritySql;               ///< a query that answers "ok"
  std::string plainQuery;                 ///< options, each after "&", for tests by the thousand
};

inline void PrintTo(const StoreKind& kind, std::ostream* out) {
  *out << kind.name;
}

/// The kinds of store that the common suite runs against.
std::vector<StoreKind> storeKinds();

inline CVORNsqlstr raw(const std::string& sql) {
  CVORNsqlstr statement;
  statement.assign(sql);
  return statement;
}

inline std::string describe(unsigned long code) {
  return vorn::describeError(code);
}

/// Runs a raw statement. @return what describeError() makes of the outcome
inline std::string run(CVORN* db, const std::string& sql) {
  return describe(db->execWriteSQL(raw(sql)));
}

/// @return the rows of a query, fields joined by '|', rows by ';', or the description of the failure
inline std::string rowsOf(CVORN* db, const std::string& sql, int columns = 1) {
  CVORNReader reader;
  const unsigned long code = db->execReadSQL(raw(sql), reader);
  if (code != 0) return describe(code);
  std::string rows;
  while (reader.hasNextElement()) {
    rows += rows.empty() ? "" : ";";
    for (int column = 0; column < columns; ++column) {
      std::string field;
      CVORNNull null;
      reader >> null >> field;
      rows.append(column == 0 ? "" : "|").append(null ? "~" : field);
    }
  }
  return rows;
}

inline const std::string kSuccess = "success";

// A thread of its own, so that nothing of the caller's sessions is shared.
template <typename Work>
auto onAnotherThread(Work work) {
  return std::async(std::launch::async, work).get();
}

/// Collects log lines while it lives.
class LogCapture {
 public:
  LogCapture() {
    vorn::setLogSink([this](const vorn::LogRecord& record) {
      const std::lock_guard lock(m_mutex);
      if (record.level != vorn::LogLevel::Trace) m_texts += record.text + "\n";
    });
  }
  ~LogCapture() { vorn::setLogSink({}); }

  /// @return the texts of the lines but traces, each with a newline
  std::string texts() {
    const std::lock_guard lock(m_mutex);
    return m_texts;
  }

 private:
  std::mutex m_mutex;
  std::string m_texts;
};

/// A database object over a fresh store bound to "default", and everything unbound afterwards.
class StoreTest : public testing::Test {
 protected:
  void useStore(const std::string& url) { ASSERT_TRUE(vorn::bindStore("default", url).succeeded()); }
  void TearDown() override {
    db->rollbackTransaction();
    vorn::unbindStores();
  }

  /// @return a batch for t(n, v): n rises from `first`, v from 0
  static BatchInserter numbers(long rows, long first = 0) {
    BatchInserter batch;
    batch.table("t");
    for (long row = 0; row < rows; ++row) {
      batch["n"] << first + row;
      batch["v"] << row;
    }
    return batch;
  }

  static long residentKilobytes() {
    long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * 4;
  }

  /// @return whether `check` says so in a forked process
  template <typename Check>
  static bool holdsInChild(Check check) {
    const pid_t child = fork();
    if (child == 0) _exit(check() ? 0 : 1);
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
  }

  LogCapture log;
  MIRAsqlDB database{false};
  CVORN* const db = &database;
};
