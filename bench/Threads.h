#pragma once

#include <future>
#include <vector>

namespace bench {

/// Runs `work(index)` on `count` threads and rethrows the first failure.
template <typename Work>
void runThreads(std::size_t count, const Work& work) {
  std::vector<std::future<void>> threads;
  for (std::size_t i = 0; i < count; ++i) {
    threads.push_back(std::async(std::launch::async, [&work, i] { work(i); }));
  }
  for (std::future<void>& thread : threads) thread.get();
}

}  // namespace bench
