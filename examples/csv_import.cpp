// Imports measurements from a CSV file, a thousand lines a statement, and accounts for every line.
//
//   csv_import FILE        FILE has the header `station,taken,celsius`
//
// A line that is no measurement, and one that the store refuses, is printed with its number and the reason;
// all others are stored. A field in quotes may run over several lines, which count as one; one whose quote is
// never closed takes all lines up to the end of the file with it. A terminal shows a progress bar meanwhile.
// The exit status is 0 when every line was stored, 1 when some were not, and 2 when the import had to stop:
// what was read till then is accounted for, and it may be run again on the same file, as the store refuses
// the lines that are there.
//
// The rows go to the table `measurement` of the session name "default": SQLite in ./default.db, or what
// VORN_STORE_DEFAULT says.

#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "CsvReader.h"
#include "vorn/vorn.h"

namespace {

struct Measurement {
  long line = 0;
  std::string station;
  long taken = 0;  ///< seconds since 1970
  double celsius = 0;
};

/// @return whether the whole text is a number of the type
template <typename Number>
bool read(const std::string& text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end;
}

/// @return the text between quotes, on one line: a file may hold what a terminal takes for a command
std::string quoted(const std::string& text) {
  return "'" + vorn::LogScrubber::scrub(text) + "'";
}

/// @return what is wrong with the record; empty where it is a measurement, which `measurement` then is
std::string readMeasurement(const CsvReader& csv, Measurement& measurement) {
  if (!csv.problem().empty()) return csv.problem();
  const std::vector<std::string>& fields = csv.fields();
  if (fields.size() != 3) return std::to_string(fields.size()) + " fields instead of 3";
  if (fields[0].empty()) return "no station";
  if (!read(fields[1], measurement.taken)) return quoted(fields[1]) + " is no time";
  if (!read(fields[2], measurement.celsius)) return quoted(fields[2]) + " is no temperature";
  measurement.line = csv.line();
  measurement.station = fields[0];
  return {};
}

/// One line that is written over again on a terminal, and nothing in a pipe.
class ProgressBar {
 public:
  void show(std::size_t done, std::size_t all) {
    const std::size_t percent = all == 0 ? 100 : done * 100 / all;
    if (!m_terminal || percent == m_shown) return;
    m_shown = percent;
    const std::string bar(percent / 2, '#');
    std::fprintf(stderr, "\r[%-50s] %3zu %%", bar.c_str(), percent);
    std::fflush(stderr);
  }
  ~ProgressBar() {
    if (m_terminal) std::fprintf(stderr, "\n");
  }

 private:
  const bool m_terminal = isatty(STDERR_FILENO) != 0;
  std::size_t m_shown = 101;
};

class Import {
 public:
  explicit Import(CVORN& db) : m_db(db) {}

  void reject(long line, const std::string& why) { m_rejected.emplace(line, why); }

  void take(Measurement measurement) {
    m_waiting.push_back(std::move(measurement));
    if (m_waiting.size() == kRowsAStatement) flush();
  }

  void flush() {
    if (canGoOn()) store(0, m_waiting.size());
    m_waiting.clear();
  }

  bool canGoOn() const { return m_failure.empty(); }

  /// @return the exit status
  int summarise(long lines) const {
    for (const auto& [line, why] : m_rejected) std::printf("line %ld: %s\n", line, why.c_str());
    const long rejected = static_cast<long>(m_rejected.size());
    std::printf("%ld lines: %ld stored, %ld rejected, %ld not tried\n", lines, m_stored, rejected,
                lines - m_stored - rejected);
    if (canGoOn()) return rejected == 0 ? 0 : 1;
    std::fprintf(stderr, "csv_import: %s\n", m_failure.c_str());
    return 2;
  }

 private:
  static constexpr std::size_t kRowsAStatement = 1000;

  /// Stores some of the waiting rows. A batch is stored whole or not at all, so where a value or a constraint is in the
  /// way, each half is tried by itself until the lines that are to blame stand alone.
  void store(std::size_t first, std::size_t count) {
    if (count == 0) return;
    BatchInserter batch;
    batch.table("measurement");
    for (std::size_t at = first; at < first + count; ++at) {
      batch["station"] << m_waiting[at].station;
      batch["taken"] << m_waiting[at].taken;
      batch["celsius"] << m_waiting[at].celsius;
    }
    const unsigned long code =
        vorn::retryTransaction(m_db, [&batch](CVORN& db) { return db.ExecBatchInserter(batch); });
    if (code == 0) {
      m_stored += static_cast<long>(count);
      return;
    }
    const vorn::ErrorClass reason = vorn::errorClass(code);
    if (reason != vorn::ErrorClass::Constraint && reason != vorn::ErrorClass::Value) {
      m_failure =
          "stopped at line " + std::to_string(m_waiting[first].line) + ": " + vorn::describeError(code);
    } else if (count == 1) {
      reject(m_waiting[first].line, vorn::describeError(code));
    } else {
      store(first, count / 2);
      if (canGoOn()) store(first + count / 2, count - count / 2);
    }
  }

  CVORN& m_db;
  std::vector<Measurement> m_waiting;
  std::map<long, std::string> m_rejected;  ///< the reason by the line
  std::string m_failure;
  long m_stored = 0;
};

unsigned long createTable(CVORN& db) {
  CVORNsqlstr statement;
  statement.assign(
      "create table if not exists measurement (station varchar(40), taken bigint, celsius double precision, "
      "primary key (station, taken))");
  return db.execWriteSQL(statement);
}

int importFile(const std::string& path) {
  MIRAsqlDB db(false);
  const unsigned long code = createTable(db);
  if (code != 0) throw std::runtime_error("cannot make the table: " + vorn::describeError(code));
  CsvReader csv(path);
  if (!csv.next() || csv.fields() != std::vector<std::string>{"station", "taken", "celsius"}) {
    throw std::runtime_error("no header `station,taken,celsius` in " + path);
  }
  Import import(db);
  long lines = 0;
  {
    ProgressBar bar;
    for (; import.canGoOn() && csv.next(); ++lines) {
      Measurement measurement;
      const std::string problem = readMeasurement(csv, measurement);
      if (problem.empty()) {
        import.take(std::move(measurement));
      } else {
        import.reject(csv.line(), problem);
      }
      bar.show(csv.bytesRead(), csv.bytes());
    }
    import.flush();
  }
  return import.summarise(lines);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: csv_import FILE\n");
    return 2;
  }
  try {
    return importFile(argv[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "csv_import: %s\n", error.what());
    return 2;
  }
}
