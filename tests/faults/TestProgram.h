#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <stdexcept>

#include "support.h"

/// A program of the test's own, which has a temporary directory for its data and ends with the object. The scripts
/// that run one see to it that it ends with the thread that started it as well, and does not run as root.
class TestProgram {
 public:
  TestProgram() = default;
  ~TestProgram() { stop(SIGKILL); }
  TestProgram(const TestProgram&) = delete;
  TestProgram& operator=(const TestProgram&) = delete;

  std::string file(const std::string& name) const { return m_directory.file(name); }

  void launch(const std::vector<std::string>& command) { m_process = spawn(command); }

  void stop(int signal) {
    if (m_process <= 0) return;
    kill(m_process, signal);
    waitpid(m_process, nullptr, 0);
    m_process = -1;
  }

  /// Lets the program and its processes do nothing (SIGSTOP), or go on (SIGCONT).
  void signal(int signal) const {
    const std::string process = std::to_string(m_process);
    std::ifstream children("/proc/" + process + "/task/" + process + "/children");
    for (pid_t child = 0; children >> child;) kill(child, signal);
    kill(m_process, signal);
    if (signal == SIGSTOP) waitpid(m_process, nullptr, WUNTRACED);  // to the last of its threads
  }

  /// Runs a command to its end.
  static void execute(const std::vector<std::string>& command) {
    int status = 0;
    waitpid(spawn(command), &status, 0);
    if (status != 0) throw std::runtime_error("failed: " + command[0] + " " + command.back());
  }

  /// @return whether something comes true in time
  static bool comesTrue(std::chrono::seconds patience, const std::function<bool()>& isSo) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!isSo()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      usleep(10000);
    }
    return true;
  }

 private:
  static pid_t spawn(std::vector<std::string> command) {
    std::vector<char*> arguments;
    for (std::string& word : command) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child != 0) return child;
    closefrom(3);
    execv(arguments[0], arguments.data());
    _exit(127);
  }

  const TemporaryDirectory m_directory;
  pid_t m_process = -1;
};
