#pragma once

#include <ctime>

#include "Competitor.h"

namespace bench {

/// What several competitors do.
struct Workload {
  std::string group;
  std::string name;
  std::string unit;                       ///< what an operation is: row, call, value
  std::size_t operations;                 ///< a round
  std::vector<Competitor> competitors{};  ///< the library first
  clockid_t clock = CLOCK_MONOTONIC;
  int mostRounds = 1000;
  std::string panel{};  ///< with `x`, its place in a plot
  std::size_t x = 0;
  std::string sideUnit{};  ///< empty where nothing is done beside the operations
};

}  // namespace bench
