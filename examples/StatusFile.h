#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

/// One package of a Debian package database.
struct Package {
  std::string name;
  std::string version;
  std::string section;
  std::optional<std::string> maintainer;
  long size = 0;  ///< KiB
  bool installed = false;
};

/// The file cannot be read or is no package database; what() says where and why.
class StatusFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads every package of a file in the format of /var/lib/dpkg/status.
/// @throws StatusFileError
std::vector<Package> readStatusFile(const std::string& path);
