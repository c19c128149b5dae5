#pragma once

#include <mysql.h>

#include <memory>

namespace vorn {

struct MariaDbCloser {
  void operator()(MYSQL* handle) const { mysql_close(handle); }
};

/// The client library's connection, closed with its owner.
using MariaDbHandle = std::unique_ptr<MYSQL, MariaDbCloser>;

}  // namespace vorn
