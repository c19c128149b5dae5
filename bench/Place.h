#pragma once

#include <string>
#include <utility>

namespace bench {

/// Where data are, and how connections to them are opened.
struct Place {
  Place(std::string where, std::string mode = "full")
      : address(std::move(where)), synchronous(std::move(mode)) {}

  std::string address;      ///< the path of a data file, or the URL of a server
  std::string synchronous;  ///< SQLite's setting of this name, for a data file
};

}  // namespace bench
