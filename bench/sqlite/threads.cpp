// Several threads at once: readers of pages of a hundred rows, with and without a writer.
#include <atomic>
#include <barrier>
#include <chrono>
#include <exception>
#include <mutex>
#include <thread>

#include "SampleRows.h"
#include "sqlite/FileCompetitor.h"
#include "sqlite/workloads.h"
#include "vorn/platform/stores.h"
#include "vorn/reader.h"
#include "vorn/selector.h"
#include "vorn/statement.h"

namespace bench {

namespace {

constexpr int kRows = 100'000;
constexpr int kPageRows = 100;
constexpr int kInsertsPerTransaction = 100;

std::string renderPage(int first) {
  CVORNSelector selector;
  CVORNTable sample = selector.table("sample");
  for (const char* column : {"id", "text", "level", "ratio"}) selector.select(column);
  selector.where(sample["id"] >= first);
  selector.limit(kPageRows, 0);
  return selector.toString();
}

/// The work of one thread, through one connection.
class Client {
 public:
  Client() = default;
  virtual ~Client() = default;
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  virtual void readPage(const std::string& text, Checksum& checksum) = 0;
  virtual void write(const std::string& text) = 0;
  virtual void begin() = 0;
  virtual void commit() = 0;
};

class LibraryClient : public Client {
 public:
  explicit LibraryClient(const std::string&) {}

  void readPage(const std::string& text, Checksum& checksum) override {
    m_statement.assign(text);
    CVORNReader reader;
    LibraryStore::check(m_db.execReadSQL(m_statement, reader));
    long id = 0;
    int level = 0;
    double ratio = 0;
    while (reader.hasNextElement()) {
      reader >> id >> m_text >> level >> ratio;
      checksum.add(id, m_text, level, ratio);
    }
  }
  void write(const std::string& text) override {
    m_statement.assign(text);
    LibraryStore::check(m_db.execWriteSQL(m_statement));
  }
  void begin() override { LibraryStore::check(m_db.beginTransaction()); }
  void commit() override { LibraryStore::check(m_db.commitTransaction()); }

 private:
  MIRAsqlDB m_db{false};
  CVORNsqlstr m_statement;
  std::string m_text;
};

class RawClient : public Client {
 public:
  explicit RawClient(const std::string& path) { m_store.open(path); }

  void readPage(const std::string& text, Checksum& checksum) override {
    const RawStore::Statement owner = m_store.prepare(text);
    sqlite3_stmt* statement = owner.get();
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(statement)) == SQLITE_ROW) {
      const long id = sqlite3_column_int64(statement, 0);
      m_text.assign(reinterpret_cast<const char*>(sqlite3_column_text(statement, 1)),
                    static_cast<std::size_t>(sqlite3_column_bytes(statement, 1)));
      checksum.add(id, m_text, sqlite3_column_int(statement, 2), sqlite3_column_double(statement, 3));
    }
    m_store.check(code, SQLITE_DONE);
  }
  void write(const std::string& text) override { m_store.execute(text); }
  void begin() override { m_store.begin(); }
  void commit() override { m_store.commit(); }

 private:
  RawStore m_store;
  std::string m_text;
};

struct Load {
  int readers = 0;
  bool writer = false;
  std::vector<std::string> pages;  ///< shared out among the readers
};

/// Runs `work(index)` on `count` threads and rethrows the first failure.
template <typename Work>
void runThreads(int count, const Work& work) {
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  std::mutex mutex;
  std::exception_ptr failure;
  for (int index = 0; index < count; ++index) {
    threads.emplace_back([&, index] {
      try {
        work(index);
      } catch (...) {
        const std::lock_guard lock(mutex);
        failure = std::current_exception();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  if (failure) std::rethrow_exception(failure);
}

template <typename ClientKind>
class ThreadCompetitor : public Competitor {
 public:
  ThreadCompetitor(std::string name, DataFiles& files, const Load& load)
      : Competitor(std::move(name)), m_files(files), m_load(load) {}

  void prepare() override {
    m_path = m_files.make();
    LibraryStore::check(vorn::bindStore("default", "sqlite:" + m_path).errorCode());
    for (int i = 0; i < threads(); ++i) m_clients.push_back(std::make_unique<ClientKind>(m_path));
    // All threads are inside at once, so that as many connections are open when the round begins.
    std::barrier inside(threads());
    runThreads(threads(), [this, &inside](int index) {
      Client& client = *m_clients[static_cast<std::size_t>(index)];
      Checksum ignored;
      client.begin();
      client.readPage(m_load.pages.front(), ignored);
      client.commit();
      inside.arrive_and_wait();
    });
    m_checksum = 0;
    m_inserts = 0;
    m_readersAtWork = m_load.readers;
  }

  void run() override {
    const auto start = std::chrono::steady_clock::now();
    runThreads(threads(), [this](int index) {
      Client& client = *m_clients[static_cast<std::size_t>(index)];
      if (index == m_load.readers)
        writeWhileReadersWork(client);
      else
        readShare(client, static_cast<std::size_t>(index));
    });
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    m_insertsPerSecond = m_inserts / seconds.count();
  }

  Outcome finish() override {
    m_clients.clear();
    vorn::unbindStores();
    DataFiles::remove(m_path);
    return {m_checksum, m_insertsPerSecond};
  }

 private:
  int threads() const { return m_load.readers + (m_load.writer ? 1 : 0); }

  void readShare(Client& client, std::size_t index) {
    Checksum checksum;
    const auto step = static_cast<std::size_t>(m_load.readers);
    for (std::size_t page = index; page < m_load.pages.size(); page += step) {
      client.readPage(m_load.pages[page], checksum);
    }
    m_checksum += checksum.value();
    --m_readersAtWork;
  }

  void writeWhileReadersWork(Client& client) {
    int id = kRows;
    while (m_readersAtWork > 0) {
      client.begin();
      for (int i = 0; i < kInsertsPerTransaction; ++i) {
        client.write("insert into sample (id,text,level,ratio) values(" + std::to_string(++id) +
                     ",'the fan of shelf 12 has stopped',3,0.250000)");
      }
      client.commit();
      m_inserts += kInsertsPerTransaction;
    }
  }

  DataFiles& m_files;
  const Load& m_load;
  std::string m_path;
  std::vector<std::unique_ptr<Client>> m_clients;
  std::atomic<std::uint64_t> m_checksum = 0;
  std::atomic<int> m_readersAtWork = 0;
  double m_inserts = 0;
  double m_insertsPerSecond = 0;
};

void measureLoad(Harness& harness, DataFiles& files, Load load) {
  const std::size_t pages = harness.options().size(10'000);
  for (std::size_t i = 0; i < pages; ++i) {
    load.pages.push_back(renderPage(static_cast<int>((i * 7919) % (kRows - kPageRows)) + 1));
  }
  const std::string name =
      (load.writer ? "one writer, readers: " : "readers: ") + std::to_string(load.readers);
  Workload workload{"threads", name, "row", static_cast<double>(pages * kPageRows)};
  workload.parameters = {{"readers", load.readers}, {"writers", load.writer ? 1 : 0}};
  if (load.writer) workload.sideUnit = "inserts/s";
  workload.rounds = 7;
  workload.add<ThreadCompetitor<LibraryClient>>("vorn", files, load);
  workload.add<ThreadCompetitor<RawClient>>("C, connection a thread", files, load);
  harness.measure(workload);
}

}  // namespace

void measureThreads(Harness& harness, Scratch& scratch) {
  DataFiles files(scratch, kSampleTable,
                  [](RawStore& store) { insertPrepared(store, SampleRows::make(kRows)); });
  for (const int readers : {1, 2, 4, 8}) measureLoad(harness, files, {readers, false, {}});
  for (const int readers : {1, 3, 7}) measureLoad(harness, files, {readers, true, {}});
}

}  // namespace bench
