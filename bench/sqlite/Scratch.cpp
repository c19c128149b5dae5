#include "sqlite/Scratch.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace bench {

Scratch::Scratch(const std::string& parent) : m_directory(parent + "/vorn-bench-XXXXXX") {
  if (mkdtemp(m_directory.data()) == nullptr)
    throw std::runtime_error("cannot make a directory in " + parent);
}

Scratch::~Scratch() {
  std::error_code error;
  std::filesystem::remove_all(m_directory, error);
}

std::string Scratch::newPath() {
  return m_directory + "/data" + std::to_string(++m_files) + ".db";
}

DataFiles::DataFiles(Scratch& scratch, const std::string& schema, const std::function<void(RawStore&)>& fill)
    : m_scratch(scratch), m_first(scratch.newPath()) {
  RawStore store;
  store.open(m_first);
  store.execute(schema);
  if (fill) {
    store.begin();
    fill(store);
    store.commit();
  }
  store.close();
}

DataFiles::~DataFiles() {
  remove(m_first);
}

std::string DataFiles::make() {
  std::string path = m_scratch.newPath();
  std::filesystem::copy_file(m_first, path);
  return path;
}

void DataFiles::remove(const std::string& path) {
  std::error_code absent;
  for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path + suffix, absent);
}

}  // namespace bench
