#pragma once

#include <cstdio>
#include <exception>

namespace bench {

/// The main function of a benchmark program: runs `work` and prints what it throws.
/// @return the exit status
template <typename Work>
int runProgram(int argc, char** argv, Work work) {
  try {
    return work(argc, argv);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s: %s\n", argv[0], failure.what());
    return 1;
  }
}

}  // namespace bench
