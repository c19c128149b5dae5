// Sends the library's log lines to the logger of the application, next to the application's own.
//
//   application_log [FILE]     the log goes to FILE, or to standard output
//
// One call of vorn::setLogSink() does it. The sink decides what a level means here, which lines to keep, and
// where they go. A text that the library hands over is one line already, without passwords and without the
// values of statements.

#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include "vorn/vorn.h"

namespace {

/// The logger that the application has anyway: one line an event, with the time and the part of the program it is about.
///
/// Threads: any thread.
class ApplicationLog {
 public:
  explicit ApplicationLog(const char* path) : m_file(path == nullptr ? stdout : std::fopen(path, "a")) {
    if (m_file == nullptr) throw std::runtime_error(std::string("cannot write ") + path);
  }
  ~ApplicationLog() {
    if (m_file != stdout) std::fclose(m_file);
  }
  ApplicationLog(const ApplicationLog&) = delete;
  ApplicationLog& operator=(const ApplicationLog&) = delete;

  void write(const char* severity, const char* part, const std::string& text) {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char time[32];
    std::strftime(time, sizeof time, "%FT%TZ", &utc);
    const std::lock_guard lock(m_mutex);
    std::fprintf(m_file, "%s %-7s %-5s %s\n", time, severity, part, text.c_str());
    if (std::fflush(m_file) != 0) m_isWhole = false;
  }

  /// @return whether every line was written
  bool isWhole() {
    const std::lock_guard lock(m_mutex);
    return m_isWhole;
  }

 private:
  std::mutex m_mutex;
  std::FILE* m_file;
  bool m_isWhole = true;
};

/// What this application makes of a line: an error of the library is a warning here, as the code that made the call
/// reports what came of it, and a trace is not wanted.
void receive(ApplicationLog& log, const vorn::LogRecord& record) {
  if (record.level == vorn::LogLevel::Trace) return;
  const vorn::SourceLocation& place = record.location;
  log.write(record.level == vorn::LogLevel::Error ? "WARNING" : "INFO", "store",
            record.text + " (" + place.sourceUnit + "::" + place.function + ")");
}

unsigned long run(CVORN& db, const std::string& sql) {
  CVORNsqlstr statement;
  statement.assign(sql);
  return db.execWriteSQL(statement);
}

/// The application's work, in which a statement fails, one is slow, and a thread ends in the middle of a transaction.
void work(ApplicationLog& log) {
  MIRAsqlDB db(false);
  log.write("INFO", "app", "started");
  run(db, "create table account (name text primary key, balance integer)");
  run(db, "insert into account values ('anna', 10)");
  const unsigned long code = run(db, "insert into account values ('anna', 20)");
  if (code != 0) log.write("ERROR", "app", "the account is there already: " + vorn::describeError(code));
  run(db,
      "insert into account with recursive counter(i) as (select 1 union all select i + 1 from counter where "
      "i < 50000) "
      "select 'customer ' || i, i from counter");  // slow
  std::thread([] {
    MIRAsqlDB mine(false);
    if (mine.beginTransaction() == 0) run(mine, "update account set balance = 0");
  }).join();
  log.write("INFO", "app", "done");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 2) {
    std::fprintf(stderr, "usage: application_log [FILE]\n");
    return 1;
  }
  try {
    // Shared, as a call that has begun may still run in the old sink after another one was set.
    const auto log = std::make_shared<ApplicationLog>(argc > 1 ? argv[1] : nullptr);
    vorn::setLogSink([log](const vorn::LogRecord& record) { receive(*log, record); });
    vorn::setSlowStatementThreshold(std::chrono::milliseconds(5));
    if (!vorn::bindStore("default", "sqlite::memory:").succeeded())
      throw std::runtime_error("cannot bind the store");
    work(*log);
    vorn::unbindStores();
    vorn::setLogSink({});
    if (!log->isWhole()) throw std::runtime_error("the log has lost lines: cannot write");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "application_log: %s\n", error.what());
    return 1;
  }
  return 0;
}
