#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <utility>

#include "LibraryStore.h"
#include "Threads.h"
#include "Workload.h"

namespace bench {

enum class InTransaction { No, Yes };

/// A workload whose competitors start each round from the same data, through one of the stores.
struct StoreWorkload : Workload {
  explicit StoreWorkload(Workload workload) : Workload(std::move(workload)) {}

  std::function<Place()> makeData{};             ///< before each round
  std::function<void(const Place&)> dropData{};  ///< after it
  InTransaction around = InTransaction::No;      ///< open around each round, its begin and commit not timed
  InTransaction aroundEach = InTransaction::No;  ///< around the calls of one index, timed
  std::string verification{};  ///< a query whose only field stands for what was written; empty for reads
  bool staysOpen = false;      ///< whether the stores are opened once for all rounds
  std::function<double()> side = [] { return 0.0; };  ///< after a round: what was done beside, see sideUnit
  std::size_t threads = 1;                            ///< of each competitor, each with a store of its own

  /// Adds a competitor of one thread. @param work  (store, checksum)
  template <typename Store, typename Work>
  void add(const char* competitor, const Work& work) {
    addThreads<Store>(competitor, [work](Store& store, std::size_t, Checksum& sum) { work(store, sum); });
  }

  /// Adds a competitor of all threads. @param work  (store, index of the thread, checksum)
  template <typename Store, typename Work>
  void addThreads(const char* competitor, const Work& work) {
    const auto stores = std::make_shared<std::deque<Store>>();  // the library's cannot be moved
    const auto place = std::make_shared<Place>("");
    const auto run = [this, stores, work](Checksum& checksum) {
      if (threads == 1) return work(stores->front(), 0, checksum);
      std::atomic<long> sum = 0;
      runThreads(threads, [&](std::size_t thread) {
        Checksum own;
        work((*stores)[thread], thread, own);
        sum += static_cast<long>(own.value());
      });
      checksum.add(sum.load());
    };
    const auto prepare = [this, stores, place] {
      *place = makeData();
      if (!staysOpen || stores->empty()) {
        while (stores->size() < threads) stores->emplace_back();
        openAll(*stores, *place);
      }
      if (around == InTransaction::Yes) stores->front().begin();
    };
    const auto finish = [this, stores, place](Checksum& checksum) {
      if (around == InTransaction::Yes) stores->front().commit();
      if (!verification.empty()) checksum.addBytes(stores->front().first(verification));
      for (Store& store : *stores)
        if (!staysOpen) store.close();
      dropData(*place);
      return side();
    };
    competitors.push_back({competitor, run, prepare, finish});
  }

  /// Adds a competitor that makes calls, which its threads share out: for each index that of each kind.
  /// @tparam Way  how a call is made; its Call<C> serves the calls of one kind
  template <typename Way, typename... Kinds>
  void addCalls(const char* competitor, const Kinds&... kinds) {
    using Store = typename Way::Store;
    addThreads<Store>(competitor, [this, &kinds...](Store& store, std::size_t thread, Checksum& checksum) {
      InTurn<typename Way::template Call<Kinds>...> calls(store, kinds...);
      for (std::size_t i = thread; i < operations; i += threads) {
        if (aroundEach == InTransaction::Yes) store.begin();
        calls.run(i, checksum);
        if (aroundEach == InTransaction::Yes) store.commit();
      }
    });
  }

 private:
  template <typename... Each>
  struct InTurn : Each... {
    template <typename Store, typename... Kinds>
    explicit InTurn(Store& of, const Kinds&... kinds) : Each{of, kinds}... {}
    void run(std::size_t index, Checksum& checksum) { (Each::run(index, checksum), ...); }
  };

  template <typename Store>
  static void openAll(std::deque<Store>& stores, const Place& place) {
    for (Store& store : stores) store.open(place);
  }
  static void openAll(std::deque<LibraryStore>& stores, const Place& place) {
    stores.front().open(place);
    LibraryStore::openConnections(stores.size());  // of the pool, which the threads share
  }
};

}  // namespace bench
