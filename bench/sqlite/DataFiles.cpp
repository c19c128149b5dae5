#include "sqlite/DataFiles.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace bench {

DataFiles::DataFiles(const std::string& parent, const std::string& schema,
                     const std::function<void(RawStore&)>& fill)
    : m_directory(parent + "/vorn-bench-XXXXXX") {
  if (mkdtemp(m_directory.data()) == nullptr)
    throw std::runtime_error("cannot make a directory in " + parent);
  RawStore store;
  store.open(m_directory + "/first.db");
  store.execute(schema);
  store.begin();
  fill(store);
  store.commit();
}

DataFiles::~DataFiles() {
  std::error_code error;
  std::filesystem::remove_all(m_directory, error);
}

std::string DataFiles::make() {
  const std::string path = m_directory + "/data" + std::to_string(++m_files) + ".db";
  std::filesystem::copy_file(m_directory + "/first.db", path);
  return path;
}

void DataFiles::remove(const std::string& path) {
  std::error_code absent;
  for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path + suffix, absent);
}

}  // namespace bench
