#pragma once

#include <functional>
#include <string>

#include "sqlite/RawStore.h"

namespace bench {

/// Equal data files, a fresh one for each competitor and round, as copies of a first one. They stand in a
/// directory of their own, which is removed at the end with all that is in it.
class DataFiles {
 public:
  /// @param parent  where the directory is made
  /// @param schema  statements that make the tables
  /// @param fill    puts rows into the first file, inside a transaction
  DataFiles(
      const std::string& parent, const std::string& schema,
      const std::function<void(RawStore&)>& fill = [](RawStore&) {});
  ~DataFiles();
  DataFiles(const DataFiles&) = delete;
  DataFiles& operator=(const DataFiles&) = delete;

  std::string make();
  static void remove(const std::string& path);

 private:
  std::string m_directory;
  int m_files = 0;
};

}  // namespace bench
