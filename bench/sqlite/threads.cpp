// Several threads at once: readers of pages of a hundred rows, with and without a writer.
#include <atomic>
#include <chrono>

#include "SampleCalls.h"
#include "sqlite/FileWorkload.h"
#include "sqlite/workloads.h"

namespace bench {

namespace {

constexpr int kRows = 100'000;
constexpr int kPageRows = 100;

std::string renderPage(int first) {
  CVORNSelector selector = sampleSelector();
  selector.where(CVORNTable("sample")["id"] >= first);
  selector.limit(kPageRows, 0);
  return selector.toString();
}

/// What the threads of one workload do: readers share out the pages, and a writer, if there is one, inserts
/// until they are done.
class ThreadLoad {
 public:
  ThreadLoad(std::size_t readers, std::size_t pages) : m_readers(readers), m_atWork(readers) {
    for (std::size_t i = 0; i < pages; ++i)
      m_pages.push_back(renderPage(static_cast<int>((i * 7919) % (kRows - kPageRows)) + 1));
  }

  template <typename Store>
  void work(Store& store, std::size_t thread, Checksum& checksum) {
    if (thread == m_readers) return write(store);
    for (std::size_t page = thread; page < m_pages.size(); page += m_readers)
      store.readRows(m_pages[page], checksum);
    --m_atWork;
  }

  /// Makes ready for another round. @return the inserts a second of the last one
  double finish() {
    m_atWork = m_readers;
    return m_insertRate;
  }

 private:
  template <typename Store>
  void write(Store& store) {
    constexpr int kInsertsPerTransaction = 100;
    const auto start = std::chrono::steady_clock::now();
    long id = kRows;
    while (m_atWork > 0) {
      store.begin();
      for (int i = 0; i < kInsertsPerTransaction; ++i) {
        store.execute("insert into sample (id,text,level,ratio) values(" + std::to_string(++id) +
                      ",'the fan of shelf 12 has stopped',3,0.250000)");
      }
      store.commit();
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    m_insertRate = static_cast<double>(id - kRows) / seconds.count();
  }

  const std::size_t m_readers;
  std::vector<std::string> m_pages;
  std::atomic<std::size_t> m_atWork;
  double m_insertRate = 0;
};

void measureLoad(Harness& harness, DataFiles& files, std::size_t readers, bool writer) {
  const std::size_t pages = harness.options().size(10'000);
  ThreadLoad load(readers, pages);
  const std::string panel = writer ? "one writer, readers" : "readers";
  FileWorkload workload({"threads", panel + ": " + std::to_string(readers), "row", pages * kPageRows}, files);
  workload.panel = panel;
  workload.x = readers;
  workload.mostRounds = 7;
  workload.threads = readers + (writer ? 1 : 0);
  if (writer) workload.sideUnit = "inserts/s";
  workload.side = [&load] { return load.finish(); };
  const auto work = [&load](auto& store, std::size_t thread, Checksum& checksum) {
    load.work(store, thread, checksum);
  };
  workload.addThreads<LibraryStore>("vorn", work);
  workload.addThreads<RawStore>("C, connection a thread", work);
  harness.measure(workload);
}

}  // namespace

void measureThreads(Harness& harness) {
  if (!harness.options().wants("threads")) return;
  DataFiles files(harness.options().directory, kSampleTable,
                  [](RawStore& store) { store.insert(SampleRows::make(kRows)); });
  for (const std::size_t readers : {1U, 2U, 4U, 8U}) measureLoad(harness, files, readers, false);
  for (const std::size_t readers : {1U, 3U, 7U}) measureLoad(harness, files, readers, true);
}

}  // namespace bench
