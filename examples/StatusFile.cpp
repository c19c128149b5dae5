#include "StatusFile.h"

#include <sys/stat.h>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>

namespace {

class StatusReader {
 public:
  explicit StatusReader(std::string path) : m_path(std::move(path)) {}

  std::vector<Package> read() {
    struct stat status {};
    if (stat(m_path.c_str(), &status) != 0) throw StatusFileError(m_path + ": " + std::strerror(errno));
    if (!S_ISREG(status.st_mode)) throw StatusFileError(m_path + ": not a regular file");
    std::ifstream file(m_path);
    if (!file) throw StatusFileError(m_path + ": " + std::strerror(errno));
    for (std::string line; std::getline(file, line);) {
      ++m_line;
      line.empty() ? endPackage() : takeLine(line);
    }
    if (file.bad()) throw StatusFileError(m_path + ": reading failed");
    endPackage();
    if (m_packages.empty()) throw StatusFileError(m_path + ": no package in it");
    return std::move(m_packages);
  }

 private:
  [[noreturn]] void fail(const std::string& why) const {
    throw StatusFileError(m_path + ":" + std::to_string(m_line) + ": " + why);
  }

  void takeLine(const std::string& line) {
    if (line[0] == ' ' || line[0] == '\t') {
      if (!m_inPackage) fail("continuation line outside of a package");
      return;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos || colon == 0) fail("no 'Field: value' line");
    m_inPackage = true;
    const std::size_t value = line.find_first_not_of(" \t", colon + 1);
    takeField(line.substr(0, colon), value == std::string::npos ? "" : line.substr(value));
  }

  void takeField(const std::string& field, const std::string& value) {
    if (field == "Package") {
      if (!m_package.name.empty()) fail("second Package field in one package");
      m_package.name = value;
    } else if (field == "Version") {
      m_package.version = value;
    } else if (field == "Section") {
      m_package.section = value;
    } else if (field == "Maintainer") {
      m_package.maintainer = value;
    } else if (field == "Status") {
      m_package.installed = value.size() >= 10 && value.compare(value.size() - 10, 10, " installed") == 0;
    } else if (field == "Installed-Size") {
      const char* end = value.data() + value.size();
      const auto [stop, error] = std::from_chars(value.data(), end, m_package.size);
      if (error != std::errc() || stop != end || m_package.size < 0)
        fail("Installed-Size is no number of KiB");
    }
  }

  void endPackage() {
    if (!m_inPackage) return;
    if (m_package.name.empty()) fail("package without a Package field");
    if (m_package.section.empty()) m_package.section = "unknown";
    m_packages.push_back(std::move(m_package));
    m_package = {};
    m_inPackage = false;
  }

  std::string m_path;
  std::size_t m_line = 0;
  bool m_inPackage = false;
  Package m_package;
  std::vector<Package> m_packages;
};

}  // namespace

std::vector<Package> readStatusFile(const std::string& path) {
  return StatusReader(path).read();
}
