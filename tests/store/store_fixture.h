#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
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
  std::function<std::string()> freshUrl;  ///< the URL of an empty store, without a query
  bool isRemote;                          ///< a call may have been carried out and its answer be lost
  std::string integritySql;               ///< a query that answers "ok"
  std::string plainQuery;                 ///< options, each after "&", for tests by the thousand
};

inline void PrintTo(const StoreKind& kind, std::ostream* out) { *out << kind.name; }

/// The kinds of store that the common suite runs against.
std::vector<StoreKind> storeKinds();

inline CVORNsqlstr raw(const std::string& sql) {
  CVORNsqlstr statement;
  statement.assign(sql);
  return statement;
}

inline std::string describe(unsigned long code) { return vorn::describeError(code); }

/// Runs a raw statement. @return what describeError() makes of the outcome
inline std::string run(CVORN* db, const std::string& sql) { return describe(db->execWriteSQL(raw(sql))); }

/// @return the rows of a query, fields joined by '|', rows by ';', or the description of the failure
inline std::string rowsOf(CVORN* db, const CVORNBase& query, int columns) {
  CVORNReader reader;
  const unsigned long code = db->execReadSQL(query, reader);
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

inline std::string rowsOf(CVORN* db, const std::string& sql, int columns = 1) { return rowsOf(db, raw(sql), columns); }

inline const std::string kSuccess = "success";

// A thread of its own, so that nothing of the caller's sessions is shared.
template <typename Work>
auto onAnotherThread(Work work) {
  return std::async(std::launch::async, work).get();
}

/// A directory that is gone with the object.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    if (mkdtemp(m_path.data()) == nullptr) std::abort();
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  std::string file(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path = (std::filesystem::temp_directory_path() / "vorn-test-XXXXXX").string();
};

/// Collects log lines while it lives.
class LogCapture {
 public:
  LogCapture() {
    vorn::setLogSink([this](const vorn::LogRecord& record) {
      const std::lock_guard lock(m_mutex);
      m_texts[static_cast<int>(record.level)] += record.text + "\n";
    });
  }
  ~LogCapture() { vorn::setLogSink({}); }

  /// @return the texts of a level's lines, each with a newline
  std::string texts(vorn::LogLevel level) {
    const std::lock_guard lock(m_mutex);
    return m_texts[static_cast<int>(level)];
  }

 private:
  std::mutex m_mutex;
  std::string m_texts[3];
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
    for (long row = 0; row < rows; ++row) batch["n"] << first + row, batch["v"] << row;
    return batch;
  }

  static long residentKilobytes() {
    long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * 4;
  }

  /// Reads all rows of a query while the memory of the process stays as it was after the first thousand.
  void expectConstantMemory(const std::string& query, long rows) {
    long before = 0, found = 0;
    CVORNReader reader;
    ASSERT_EQ(db->execReadSQL(raw(query), reader), 0U);
    while (reader.hasNextElement()) {
      if (++found == 1000) before = residentKilobytes();
      if (found == rows) { EXPECT_LT(residentKilobytes() - before, 4096) << query; }
    }
    EXPECT_EQ(found, rows) << query;
  }

  /// @return whether `check` says so in a forked process
  template <typename Check>
  static bool holdsInChild(Check check) {
    const pid_t child = fork();
    if (child == 0) _exit(check() ? 0 : 1);
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
  }

  /// Runs a statement with a parameter {n} for each value of it.
  static std::string runForEach(std::vector<long> values, const std::string& sql) {
    vorn::ParamRefMap set;
    vorn::TypeRegistry::registerVectorType<std::vector<long>>(set["n"].type, vorn::type_code::kVector, "std::vector", 0);
    set["n"].object = &values;
    vorn::DataSession session("default");
    const vorn::TypedRef parameters{{vorn::type_code::kParameterSet, 0, nullptr}, &set};
    return describe(session.execute("test", vorn::SqlKind::Batch, sql, parameters).errorCode());
  }

  /// Runs one step of a scenario. @return its outcome, or its rows
  static std::string step(CVORN* on, const std::string& text, int columns) {
    MIRAsqlDB other(true);
    const std::size_t blank = text.find(' ');
    const std::string word = text.substr(0, blank), rest = blank == std::string::npos ? "" : text.substr(blank + 1);
    if (word == "other:") return step(&other, rest, columns);
    if (word == "elsewhere:") return onAnotherThread([&] { return step(on, rest, columns); });
    const std::size_t last = rest.rfind(' ') + 1;
    if (word == "batch") return describe(on->ExecBatchInserter(numbers(std::stol(rest), std::stol(rest.substr(last)))));
    if (word == "each") return runForEach({std::stol(rest), std::stol(rest.substr(2))}, rest.substr(4));
    if (word == "set") return setenv(rest.substr(0, last - 1).c_str(), rest.substr(last).c_str(), 1), kSuccess;
    if (word == "bind") return describe(vorn::bindStore("default", rest).errorCode());
    if (word == "unbind") return vorn::unbindStores(), kSuccess;
    if (word == "begin:") return on->beginTransaction(), step(on, rest, columns);
    if (word == "begin") return describe(on->beginTransaction());
    if (word == "commit") return describe(on->commitTransaction());
    if (word == "rollback") return describe(on->rollbackTransaction());
    return word == "select" ? rowsOf(on, text, columns) : run(on, text);
  }

  /// Runs the scenarios of a file: blank lines stand between them, and `renew` makes each one's store.
  template <typename Renew>
  void runScenarios(const std::string& file, const Renew& renew) {
    for (const auto& [text, outcome] : casesOf(file)) {
      SCOPED_TRACE(text);
      const auto columns = 1 + std::count(outcome.begin(), std::find(outcome.begin(), outcome.end(), ';'), '|');
      const std::string found = text.empty() ? (renew(), kSuccess) : step(db, text, static_cast<int>(columns));
      if (outcome != "failure") {
        EXPECT_EQ(found, outcome.empty() ? kSuccess : outcome == "(none)" ? "" : outcome);
        continue;
      }
      const std::string detail = vorn::lastResult().detail().value_or("");
      EXPECT_TRUE(found != kSuccess && !detail.empty() && detail.find('\n') == std::string::npos) << found << detail;
      EXPECT_NE(log.texts(vorn::LogLevel::Info).find("[VORNLib]" + detail), std::string::npos);
    }
  }

  LogCapture log;
  MIRAsqlDB database{false};
  CVORN* const db = &database;
};
