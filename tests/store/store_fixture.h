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

class TestServer;

/// What the tests know about a kind of store.
struct StoreKind {
  std::string name;
  std::string family;                     ///< of its errors, as describeError() has it
  std::string scenarios;                  ///< the file of those that only it runs
  std::function<std::string()> freshUrl;  ///< the URL of an empty store, without a query
  bool isRemote;                          ///< a call may have been carried out and its answer be lost
  std::string integritySql;               ///< a query that answers "ok"
  std::string plainQuery;                 ///< options, each after "&", for tests by the thousand
  TestServer& (*server)() = nullptr;      ///< what a remote store is a database of
};

inline void PrintTo(const StoreKind& kind, std::ostream* out) {
  *out << kind.name;
}

/// The kinds of store that the common suite runs against.
std::vector<StoreKind> storeKinds();

/// Those of them that are servers.
std::vector<StoreKind> remoteKinds();

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

/// @return the row that comes next, fields joined by '|', ~ for NULL, '' for an empty text; nothing after the
/// last
inline std::string nextRow(CVORNReader& reader) {
  std::vector<vorn::RowValue> row;
  vorn::ExecResult status;
  const vorn::TypedRef target{{vorn::type_code::kRow, 0, nullptr}, &row};
  if (!reader.initializeSession("")->fetchRow(status, target, 1)) return "";
  std::string fields;
  for (const vorn::RowValue& field : row) {
    const std::string text = field.kind() == vorn::RowValue::Kind::Null ? "~" : field.text();
    fields += (&field == row.data() ? "" : "|") + (text.empty() ? "''" : text);
  }
  return fields;
}

/// @return the rows that are left, joined by ';', the last one the failure that ended them; "(none)" if there
/// are none
inline std::string rowsOf(CVORNReader& reader) {
  std::string all;
  for (std::string row; !(row = nextRow(reader)).empty();) all += ";" + row;
  if (!vorn::lastResult().succeeded()) all += ";" + describe(vorn::lastResult().errorCode());
  return all.empty() ? "(none)" : all.substr(1);
}

/// @return the rows of a query, or the description of its failure
inline std::string rowsOf(CVORN* db, const std::string& sql) {
  CVORNReader reader;
  const unsigned long code = db->execReadSQL(raw(sql), reader);
  return code == 0 ? rowsOf(reader) : describe(code);
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

  /// @return a batch for t(n, v): n rises from `first` by `step`, v from 0
  static BatchInserter numbers(long rows, long first = 0, long step = 1) {
    BatchInserter batch;
    batch.table("t");
    for (long row = 0; row < rows; ++row) {
      batch["n"] << first + row * step;
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
    std::fflush(stdout);  // or the child would write it again
    const pid_t child = fork();
    if (child == 0) {
      const bool holds = check();
      std::fflush(stdout);
      _exit(holds ? 0 : 1);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
  }

  LogCapture log;
  MIRAsqlDB database{false};
  CVORN* const db = &database;
};
