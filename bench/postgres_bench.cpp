// The library on PostgreSQL against libpq used by hand and libpqxx, on a server of the program's own.
#include <libpq-fe.h>

#include <charconv>
#include <functional>
#include <pqxx/pqxx>
#include <stdexcept>
#include <thread>
#include <tuple>

#include "Harness.h"
#include "LibraryRows.h"
#include "Program.h"
#include "postgres/PostgresServer.h"
#include "vorn/vorn.h"

namespace {

using bench::Checksum;
using bench::Harness;
using bench::Options;
using bench::Outcome;
using bench::Reporter;
using bench::SampleRows;
using bench::Workload;

constexpr int kThreads = 8;
const std::string kAllRows = "select id, text, level, ratio from sample";

using Connection = std::unique_ptr<PGconn, void (*)(PGconn*)>;
using Result = std::unique_ptr<PGresult, void (*)(PGresult*)>;

Connection connectTo(const std::string& url) {
  Connection connection(PQconnectdb(url.c_str()), PQfinish);
  if (PQstatus(connection.get()) != CONNECTION_OK) throw std::runtime_error(PQerrorMessage(connection.get()));
  return connection;
}

Result expect(PGconn* connection, PGresult* result, ExecStatusType status) {
  Result owner(result, PQclear);
  if (PQresultStatus(result) != status) throw std::runtime_error(PQerrorMessage(connection));
  return owner;
}

void check(unsigned long code) {
  if (code != 0)
    throw std::runtime_error(vorn::describeError(code) + " " + vorn::lastResult().detail().value_or(""));
}

std::string lookup(long id) {
  return kAllRows + " where id = " + std::to_string(id);
}

/// A competitor made of a function; `before` runs untimed.
class Task : public bench::Competitor {
 public:
  Task(const std::string& name, std::function<void()> before, std::function<std::uint64_t()> work)
      : Competitor(name), m_before(std::move(before)), m_work(std::move(work)) {}
  void prepare() override { m_before(); }
  void run() override { m_checksum = m_work(); }
  Outcome finish() override { return {m_checksum, 0}; }

 private:
  std::function<void()> m_before;
  std::function<std::uint64_t()> m_work;
  std::uint64_t m_checksum = 0;
};

/// What a careful programmer writes for COPY: one buffer, shortest numbers, the four escapes.
class HandWrittenCopy {
 public:
  void run(PGconn* connection, const SampleRows& rows) {
    expect(connection, PQexec(connection, "copy sample (id, text, level, ratio) from stdin"), PGRES_COPY_IN);
    for (std::size_t row = 0; row < rows.size(); ++row) {
      number(rows.ids[row], '\t');
      text(rows.texts[row]);
      number(rows.levels[row], '\t');
      number(rows.ratios[row], '\n');
      if (m_buffer.size() > 60000) flush(connection);
    }
    flush(connection);
    PQputCopyEnd(connection, nullptr);
    expect(connection, PQgetResult(connection), PGRES_COMMAND_OK);
    Result(PQgetResult(connection), PQclear);
  }

 private:
  template <typename Number>
  void number(Number value, char end) {
    char digits[40];
    char* last = std::to_chars(digits, digits + 39, value).ptr;
    *last++ = end;
    m_buffer.append(digits, last);
  }

  void text(const std::string& value) {
    for (const char c : value) {
      switch (c) {
        case '\\':
          m_buffer += "\\\\";
          break;
        case '\n':
          m_buffer += "\\n";
          break;
        case '\r':
          m_buffer += "\\r";
          break;
        case '\t':
          m_buffer += "\\t";
          break;
        default:
          m_buffer += c;
      }
    }
    m_buffer += '\t';
  }

  void flush(PGconn* connection) {
    if (PQputCopyData(connection, m_buffer.data(), static_cast<int>(m_buffer.size())) != 1) {
      throw std::runtime_error(PQerrorMessage(connection));
    }
    m_buffer.clear();
  }

  std::string m_buffer;
};

void readThroughLibrary(CVORN& db, const std::string& sql, Checksum& checksum) {
  CVORNsqlstr query;
  query.assign(sql);
  CVORNReader reader;
  check(db.execReadSQL(query, reader));
  bench::addRows(reader, checksum);
}

void addRow(const PGresult* result, std::string& text, Checksum& checksum) {
  text.assign(PQgetvalue(result, 0, 1), static_cast<std::size_t>(PQgetlength(result, 0, 1)));
  checksum.add(std::strtol(PQgetvalue(result, 0, 0), nullptr, 10), text,
               static_cast<int>(std::strtol(PQgetvalue(result, 0, 2), nullptr, 10)),
               std::strtod(PQgetvalue(result, 0, 3), nullptr));
}

void readThroughLibpq(PGconn* connection, const std::string& sql, Checksum& checksum) {
  if (PQsendQueryParams(connection, sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0) != 1 ||
      PQsetSingleRowMode(connection) != 1) {
    throw std::runtime_error(PQerrorMessage(connection));
  }
  std::string text;
  while (PGresult* result = PQgetResult(connection)) {
    if (PQresultStatus(result) == PGRES_SINGLE_TUPLE) addRow(result, text, checksum);
    PQclear(result);
  }
}

class PostgresBench {
 public:
  PostgresBench(Harness& harness, const PostgresServer& server)
      : m_harness(harness), m_url(server.url()), m_connection(connectTo(m_url)), m_pqxx(m_url) {
    if (!vorn::bindStore("default", m_url).succeeded()) throw std::runtime_error("bindStore");
    execute("create table sample (id bigint, text text, level integer, ratio double precision)");
    if (harness.options().wants("batch")) measureBatch();
    if (harness.options().wants("read")) measureRead();
    if (harness.options().wants("threads")) measureThreads();
  }

 private:
  void execute(const std::string& sql) {
    expect(m_connection.get(), PQexec(m_connection.get(), sql.c_str()), PGRES_COMMAND_OK);
  }

  void measureBatch() {
    const SampleRows rows = SampleRows::make(m_harness.options().size(200000));
    BatchInserter batch;
    batch.table("sample");
    for (std::size_t row = 0; row < rows.size(); ++row) {
      batch["id"] << rows.ids[row];
      batch["text"] << rows.texts[row];
      batch["level"] << rows.levels[row];
      batch["ratio"] << rows.ratios[row];
    }
    const auto empty = [this] { execute("truncate sample"); };
    Workload workload{"batch", "typed rows", "row", static_cast<double>(rows.size())};
    workload.add<Task>("vorn", empty, [&] { return check(m_db.ExecBatchInserter(batch)), 0U; });
    workload.add<Task>("libpq, COPY by hand", empty,
                       [&] { return HandWrittenCopy().run(m_connection.get(), rows), 0U; });
    workload.add<Task>("libpqxx, stream_to", empty, [&] {
      pqxx::work transaction(m_pqxx);
      pqxx::stream_to stream(transaction, "sample", std::vector<std::string>{"id", "text", "level", "ratio"});
      for (std::size_t row = 0; row < rows.size(); ++row) {
        stream << std::make_tuple(rows.ids[row], rows.texts[row], rows.levels[row], rows.ratios[row]);
      }
      stream.complete();
      transaction.commit();
      return 0U;
    });
    m_harness.measure(workload);
  }

  void fill(std::size_t count) {
    execute("truncate sample");
    HandWrittenCopy().run(m_connection.get(), SampleRows::make(count));
    execute("create index on sample (id)");
    execute("vacuum analyze sample");
  }

  void measureRead() {
    const std::size_t count = m_harness.options().size(500000);
    fill(count);
    const auto nothing = [] {};
    Workload workload{"read", "typed rows", "row", static_cast<double>(count)};
    workload.add<Task>("vorn", nothing, [this] {
      Checksum checksum;
      readThroughLibrary(m_db, kAllRows, checksum);
      return checksum.value();
    });
    workload.add<Task>("libpq, single-row mode", nothing, [this] {
      Checksum checksum;
      readThroughLibpq(m_connection.get(), kAllRows, checksum);
      return checksum.value();
    });
    workload.add<Task>("libpqxx, exec", nothing, [this] {
      Checksum checksum;
      pqxx::work transaction(m_pqxx);
      for (const pqxx::row& row : transaction.exec(kAllRows)) {
        checksum.add(row[0].as<long>(), row[1].as<std::string>(), row[2].as<int>(), row[3].as<double>());
      }
      return checksum.value();
    });
    m_harness.measure(workload);
  }

  /// Runs `work(thread)` on every thread. @return the sum of what they return
  template <typename Work>
  static std::uint64_t onThreads(Work work) {
    std::vector<std::uint64_t> sums(kThreads);
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&sums, thread, work] { sums[thread] = work(thread); });
    }
    std::uint64_t sum = 0;
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
      threads[thread].join();
      sum += sums[thread];
    }
    return sum;
  }

  void measureThreads() {
    const std::size_t calls = m_harness.options().size(5000);
    fill(100000);
    std::vector<Connection> connections;
    for (int thread = 0; thread < kThreads; ++thread) connections.push_back(connectTo(m_url));
    const auto id = [](std::size_t thread, std::size_t call) {
      return static_cast<long>((thread * 12345 + call * 7) % 100000 + 1);
    };
    const auto nothing = [] {};
    Workload workload{"threads", "look-ups by key", "call", static_cast<double>(calls * kThreads)};
    workload.add<Task>("vorn", nothing, [&] {
      return onThreads([&](std::size_t thread) {
        Checksum checksum;
        for (std::size_t call = 0; call < calls; ++call)
          readThroughLibrary(m_db, lookup(id(thread, call)), checksum);
        return checksum.value();
      });
    });
    workload.add<Task>("libpq, a connection a thread", nothing, [&] {
      return onThreads([&](std::size_t thread) {
        Checksum checksum;
        std::string text;
        for (std::size_t call = 0; call < calls; ++call) {
          PGconn* connection = connections[thread].get();
          const Result result = expect(connection,
                                       PQexecParams(connection, lookup(id(thread, call)).c_str(), 0, nullptr,
                                                    nullptr, nullptr, nullptr, 0),
                                       PGRES_TUPLES_OK);
          addRow(result.get(), text, checksum);
        }
        return checksum.value();
      });
    });
    m_harness.measure(workload);
  }

  Harness& m_harness;
  const std::string m_url;
  Connection m_connection;
  pqxx::connection m_pqxx;
  MIRAsqlDB m_db{false};
};

int run(int argc, char** argv) {
  const Options options = Options::parse(argc, argv);
  Reporter reporter("postgres", options.json);
  PostgresServer server("synchronous_commit=off\nwal_level=minimal\nmax_wal_senders=0\nautovacuum=off\n");
  reporter.reportFacts(
      {{"server", server.query("select version()")},
       {"libpq", std::to_string(PQlibVersion())},
       {"libpqxx", PQXX_VERSION},
       {"settings", "fsync=off, full_page_writes=off, synchronous_commit=off, loopback TCP"}});
  Harness harness(options, reporter);
  PostgresBench(harness, server);
  vorn::unbindStores();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return bench::runProgram(argc, argv, run);
}
