// An empty process that links the library, against one that links by hand what the embedded store needs.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "Harness.h"

namespace {

void start(std::string program, std::size_t times) {
  char* arguments[] = {program.data(), nullptr};
  for (std::size_t i = 0; i < times; ++i) {
    pid_t child = 0;
    int status = 0;
    if (posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0) {
      throw std::runtime_error("cannot run " + program);
    }
  }
}

void measure(bench::Harness& harness) {
  const std::size_t times = harness.options().size(100);
  bench::Workload startup{"startup", "empty process", "start", times};
  startup.competitors.push_back({"vorn", [times](auto&) { start(VORN_STARTUP_LIBRARY, times); }});
  startup.competitors.push_back(
      {"libraries by hand", [times](auto&) { start(VORN_STARTUP_BY_HAND, times); }});
  harness.measure(startup);
}

}  // namespace

int main(int argc, char** argv) {
  return bench::Harness::runProgram(argc, argv, "startup", measure);
}
