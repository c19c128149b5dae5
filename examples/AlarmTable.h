#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "vorn/vorn.h"

/// One alarm as a device reports it.
struct Alarm {
  int level = 0;  ///< 1 is a remark, 4 an emergency
  std::string source;
  std::string text;
};

/// The alarms in the store of the session name "default", whichever kind of store that is.
///
/// An alarm is open when it is stored. It is closed once it is older than its time, and deleted at the next look after that.
///
/// Threads: any number of threads share an object. Each has a connection of its own, out of the library's pool.
///
/// Errors: std::runtime_error with the words of the code, after what may be tried again was tried again.
class AlarmTable {
 public:
  using Clock = std::chrono::system_clock;

  /// Makes the table where there is none, and goes on counting after the alarms that are there.
  AlarmTable();

  /// Stores all of the alarms or none.
  void add(const std::vector<Alarm>& alarms);

  /// Closes open alarms that are older than `age`, and deletes those that were closed before.
  /// @return how many were deleted
  long retire(std::chrono::milliseconds age);

  /// @return how many alarms are stored, open or closed
  long size();

  /// @return the number of open alarms by their level
  std::map<int, long> openByLevel();

  /// @return the texts of the latest alarms of a level and above since a time, the latest first
  std::vector<std::string> latest(int level, Clock::time_point since, unsigned count);

 private:
  MIRAsqlDB m_db{false};
  std::atomic<long> m_nextId{0};
};
