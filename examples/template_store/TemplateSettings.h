#pragma once

#include <string>

namespace vorn {

/// How the connections of one template store are opened: whatever the URL says, with the defaults where it
/// says nothing.
struct TemplateSettings {
  std::string name;
  std::string mode = "write";  ///< or "read"
};

}  // namespace vorn
