#pragma once

#include <atomic>

/// SQLite's own file system, which fails where it is told to. It serves the whole process from install() on, and
/// only one fault at a time.
class FailingVfs {
 public:
  enum class Kind {
    IoError,     ///< of reading, writing, truncating, flushing, opening, deleting, sharing memory
    ShortWrite,  ///< half of it is written
    Full,        ///< nothing more can be written
    Busy,        ///< a lock is another's
  };

  static void install();
  static void arm(Kind kind, long first, bool lasting) noexcept;

  /// @return whether there was an operation to fail
  static bool disarm() noexcept;
};
