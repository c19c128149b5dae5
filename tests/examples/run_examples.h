#pragma once

#include <cassert>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "vorn/vorn.h"

/// One example of a public header or a page. `db` works on a store of its own, where the table alarm is; `text` is a
/// text from outside the program.
struct Example {
  const char* place;
  void (*run)(CVORN* db, const std::string& text);
};

/// Runs each example, and ends the program at an assertion, or at a line that the library logs.
/// @return the program's exit status
int runExamples(const std::vector<Example>& examples);
