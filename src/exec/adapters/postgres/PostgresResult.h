#pragma once

#include <libpq-fe.h>

#include <memory>

namespace vorn {

struct PostgresClearer {
  void operator()(PGresult* result) const { PQclear(result); }
};

/// One answer of the server.
using PostgresResult = std::unique_ptr<PGresult, PostgresClearer>;

}  // namespace vorn
