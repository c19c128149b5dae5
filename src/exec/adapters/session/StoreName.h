#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>

namespace vorn {

/// How statistics and log lines name a store, see StoreDriver::name().
struct StoreName {
  explicit StoreName(std::string name) : text(std::move(name)), hash(std::hash<std::string>()(text)) {}

  const std::string text;
  const std::size_t hash;
};

}  // namespace vorn
