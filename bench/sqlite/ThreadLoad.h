#pragma once

#include <string>
#include <vector>

namespace bench {

/// What the threads of a workload do.
struct ThreadLoad {
  std::size_t readers;
  bool writer;
  std::vector<std::string> pages;  ///< queries, shared out among the readers
  long rows;                       ///< that stand in the file at first

  std::size_t threads() const { return readers + (writer ? 1 : 0); }
};

}  // namespace bench
