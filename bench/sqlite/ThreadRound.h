#pragma once

#include <atomic>
#include <barrier>
#include <chrono>
#include <deque>

#include "Competitor.h"
#include "LibraryStore.h"
#include "Threads.h"
#include "sqlite/DataFiles.h"

namespace bench {

/// What the threads of a workload do.
struct ThreadLoad {
  std::size_t readers;
  bool writer;
  std::vector<std::string> pages;  ///< queries, shared out among the readers
  long rows;                       ///< that stand in the file at first

  std::size_t threads() const { return readers + (writer ? 1 : 0); }
};

/// Threads on one data file, each through a store of its own: readers share out the pages, and a writer
/// inserts until they are done.
template <typename Store>
class ThreadRound {
 public:
  ThreadRound(DataFiles& files, const ThreadLoad& load) : m_files(files), m_load(load) {}

  Competitor competitor(const char* name) {
    return {name, [this](Checksum& checksum) { run(checksum); }, [this] { prepare(); },
            [this](Checksum&) { return finish(); }};
  }

 private:
  void prepare() {
    m_path = m_files.make();
    LibraryStore::bind("sqlite:" + m_path);
    while (m_stores.size() < m_load.threads()) open(m_stores.emplace_back());
    // All threads are inside at once, so that as many connections are open when the round begins.
    std::barrier inside(static_cast<std::ptrdiff_t>(m_load.threads()));
    runThreads(m_load.threads(), [this, &inside](std::size_t index) {
      Checksum ignored;
      m_stores[index].begin();
      m_stores[index].readRows(m_load.pages.front(), ignored);
      m_stores[index].commit();
      inside.arrive_and_wait();
    });
    m_sum = 0;
    m_inserts = 0;
    m_readersAtWork = m_load.readers;
  }

  void run(Checksum& checksum) {
    const auto start = std::chrono::steady_clock::now();
    runThreads(m_load.threads(), [this](std::size_t index) {
      index == m_load.readers ? writeWhileReadersWork(m_stores[index]) : readShare(m_stores[index], index);
    });
    m_seconds = std::chrono::steady_clock::now() - start;
    checksum.add(m_sum.load());
  }

  double finish() {
    m_stores.clear();
    LibraryStore::close();
    DataFiles::remove(m_path);
    return m_inserts / m_seconds.count();
  }

  void open(LibraryStore& /*store*/) {}  // the threads share the library's pool
  void open(RawStore& store) { store.open(m_path); }

  void readShare(Store& store, std::size_t index) {
    Checksum checksum;
    for (std::size_t page = index; page < m_load.pages.size(); page += m_load.readers) {
      store.readRows(m_load.pages[page], checksum);
    }
    m_sum += static_cast<long>(checksum.value());
    --m_readersAtWork;
  }

  void writeWhileReadersWork(Store& store) {
    constexpr int kInsertsPerTransaction = 100;
    long id = m_load.rows;
    while (m_readersAtWork > 0) {
      store.begin();
      for (int i = 0; i < kInsertsPerTransaction; ++i) {
        store.execute("insert into sample (id,text,level,ratio) values(" + std::to_string(++id) +
                      ",'the fan of shelf 12 has stopped',3,0.250000)");
      }
      store.commit();
      m_inserts += kInsertsPerTransaction;
    }
  }

  DataFiles& m_files;
  const ThreadLoad& m_load;
  std::string m_path;
  std::deque<Store> m_stores;  // a deque, because the library's cannot be moved
  std::atomic<long> m_sum = 0;
  std::atomic<std::size_t> m_readersAtWork = 0;
  std::chrono::duration<double> m_seconds{};
  double m_inserts = 0;
};

}  // namespace bench
