#include "layer/ScriptedStore.h"

#include <new>
#include <sstream>
#include <utility>

#include "exec/adapters/DriverTable.h"
#include "exec/adapters/LayerError.h"
#include "exec/adapters/RowBuffer.h"

using vorn::ExecResult;

namespace {

class ScriptedCursor : public vorn::StoreCursor {
 public:
  ScriptedCursor(int rows, std::shared_ptr<ScriptedCursor*> open) : m_open(std::move(open)), m_rows(rows) { *m_open = this; }
  ~ScriptedCursor() override {
    if (*m_open == this) *m_open = nullptr;
  }

  Fetch fetch(std::vector<vorn::RowValue>& row, ExecResult&) override {
    if (m_buffer.pop(row)) return Fetch::Row;
    if (m_row == m_rows) return Fetch::End;
    if (m_row + 1 == ScriptedStore::instance().throwAtRow) throw std::bad_alloc();
    write(row, ++m_row);
    return Fetch::Row;
  }

  void drain() {
    std::vector<vorn::RowValue> row;
    while (m_row < m_rows) write(row, ++m_row), m_buffer.push(row);
  }

 private:
  static void write(std::vector<vorn::RowValue>& row, int number) {
    row.resize(2);
    row[0].setInteger(number);
    row[1].setText(std::string(100, 'x').data(), 100);
  }

  std::shared_ptr<ScriptedCursor*> m_open;  // the last cursor of its connection
  int m_rows;
  int m_row = 0;
  vorn::RowBuffer m_buffer;
};

class ScriptedConnection : public vorn::StoreConnection {
 public:
  ScriptedConnection() { ++m_store.opened, ++m_store.open; }
  ~ScriptedConnection() override {
    --m_store.open;
    if (m_inTransaction && !m_givenUp) ++m_store.closedInside;
  }
  bool usable() noexcept override { return !m_givenUp; }
  bool inTransaction() const noexcept override { return m_inTransaction; }
  bool renew() noexcept override { return !m_soiled; }
  void giveUp() noexcept override { m_givenUp = true; }
  void drainCursors() noexcept override {
    if (*m_cursor != nullptr) (*m_cursor)->drain();
  }
  ExecResult begin() override { return run("begin"); }
  ExecResult commit() override { return run("commit"); }
  ExecResult rollback() override { return run("rollback"); }
  ExecResult read(const std::string& sql, std::unique_ptr<vorn::StoreCursor>& cursor) override {
    const std::size_t digit = sql.find_first_of("0123456789");
    if (digit != std::string::npos) cursor = std::make_unique<ScriptedCursor>(std::atoi(sql.c_str() + digit), m_cursor);
    return run(sql);
  }
  ExecResult write(const std::string& sql, std::uint64_t& rows) override { return rows = 1, run(sql); }
  ExecResult batch(const std::string& sql, const vorn::TypedRef&, std::uint64_t& rows) override { return write(sql, rows); }

 private:
  ExecResult run(const std::string& sql) {
    std::istringstream words(sql);
    ExecResult result;
    for (std::string word; std::getline(words, word, '+');) {
      if (word == "begin") m_inTransaction = true;
      if (word == "commit" || word == "rollback" || word == "lose") m_inTransaction = false;
      if (word == "soil") m_soiled = true;
      if (word == "throw") throw std::bad_alloc();
      if (word == "lose" || word == "refuse") result = vorn::makeFailure(vorn::LayerError::NotSupported, word);
    }
    ++m_store.ran;
    return result;
  }

  ScriptedStore& m_store = ScriptedStore::instance();
  const std::shared_ptr<ScriptedCursor*> m_cursor = std::make_shared<ScriptedCursor*>();
  bool m_inTransaction = false, m_givenUp = false, m_soiled = false;
};

class ScriptedDriver : public vorn::StoreDriver {
 public:
  ExecResult open(std::unique_ptr<vorn::StoreConnection>& connection) override {
    connection = std::make_unique<ScriptedConnection>();
    return {};
  }
  bool closesIdleBeforeFork() const override { return ScriptedStore::instance().closesIdleBeforeFork; }
};

}  // namespace

ScriptedStore& ScriptedStore::instance() {
  static auto* const store = new ScriptedStore;
  return *store;
}

void ScriptedStore::reset() { opened = open = closedInside = ran = throwAtRow = 0, closesIdleBeforeFork = false; }

std::shared_ptr<vorn::StoreDriver> scriptedDriver() { return std::make_shared<ScriptedDriver>(); }

namespace vorn {
ExecResult makeDriver(StoreUrl&, const std::string&, std::shared_ptr<StoreDriver>& driver) {
  driver = scriptedDriver();
  return {};
}
}  // namespace vorn
