#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "vorn/vorn.h"

/// What the tests know about a kind of store.
struct StoreKind {
  std::string name;
  std::function<std::string()> freshUrl;  ///< the URL of an empty store, without a query
  std::string tick;                       ///< a query of a million rows 1…1000000 in one column n
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

/// A directory that is gone with the object.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vorn-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    m_path = pattern;
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  std::string file(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

/// Collects log lines while it lives.
class LogCapture {
 public:
  LogCapture() {
    vorn::setLogSink([this](const vorn::LogRecord& record) {
      const std::lock_guard lock(m_mutex);
      m_records.push_back(record);
    });
  }
  ~LogCapture() { vorn::setLogSink({}); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// @return the texts of a level's lines, joined by newlines
  std::string texts(vorn::LogLevel level) {
    const std::lock_guard lock(m_mutex);
    std::string all;
    for (const vorn::LogRecord& record : m_records) {
      if (record.level == level) all += record.text + "\n";
    }
    return all;
  }

 private:
  std::mutex m_mutex;
  std::vector<vorn::LogRecord> m_records;
};

/// A database object over a fresh store bound to "default", and everything unbound afterwards.
class StoreTest : public testing::Test {
 protected:
  void useStore(const std::string& url) { ASSERT_TRUE(vorn::bindStore("default", url).succeeded()); }
  void TearDown() override { vorn::unbindStores(); }

  LogCapture log;
  MIRAsqlDB database{false};
  CVORN* const db = &database;
};
