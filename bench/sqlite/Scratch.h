#pragma once

#include <functional>
#include <string>

#include "sqlite/Stores.h"

namespace bench {

/// A directory of its own for the data files of one run, removed at the end with all that is in it.
class Scratch {
 public:
  explicit Scratch(const std::string& parent);
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  /// @return a path under which no file stands yet
  std::string newPath();

 private:
  std::string m_directory;
  int m_files = 0;
};

/// Makes equal data files, a fresh one for each competitor and round, as copies of a first one.
class DataFiles {
 public:
  /// @param schema    statements that make the tables
  /// @param fill      puts rows into the first file, inside a transaction; may be empty
  DataFiles(Scratch& scratch, const std::string& schema, const std::function<void(RawStore&)>& fill = {});
  ~DataFiles();
  DataFiles(const DataFiles&) = delete;
  DataFiles& operator=(const DataFiles&) = delete;

  std::string make();
  static void remove(const std::string& path);

 private:
  Scratch& m_scratch;
  std::string m_first;
};

}  // namespace bench
