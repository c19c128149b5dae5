#include "template_store/TemplateError.h"

#include <algorithm>
#include <iterator>

namespace vorn {

namespace {

struct KnownError {
  const char* name;
  scripted::Code code;
  ErrorClass errorClass;
};

// Retry only where the same work may succeed when it is begun again: callers loop on it.
constexpr KnownError kKnownErrors[] = {
    {"SYNTAX", scripted::Code::Syntax, ErrorClass::Statement},
    {"NO_SUCH_TABLE", scripted::Code::NoSuchTable, ErrorClass::Statement},
    {"BUSY", scripted::Code::Busy, ErrorClass::Retry},
    {"DUPLICATE", scripted::Code::Duplicate, ErrorClass::Constraint},
    {"READ_ONLY", scripted::Code::ReadOnly, ErrorClass::Permission},
    {"MISUSE", scripted::Code::Misuse, ErrorClass::Other},
};

const KnownError* find(std::uint32_t native) noexcept {
  const auto* const found = std::find_if(
      std::begin(kKnownErrors), std::end(kKnownErrors),
      [native](const KnownError& known) { return static_cast<std::uint32_t>(known.code) == native; });
  return found == std::end(kKnownErrors) ? nullptr : found;
}

}  // namespace

ExecResult templateFailure(scripted::Code code, const char* message) {
  if (code == scripted::Code::HungUp) return makeFailure(Failure::ConnectionLost, message);
  return makeFailure(kTemplateFamily, static_cast<std::uint32_t>(code), message);
}

std::string describeTemplateError(std::uint32_t native) {
  const KnownError* const known = find(native);
  return std::to_string(native) + (known == nullptr ? "" : std::string(" ") + known->name);
}

ErrorClass classifyTemplateError(std::uint32_t native) noexcept {
  const KnownError* const known = find(native);
  return known == nullptr ? ErrorClass::Other : known->errorClass;
}

}  // namespace vorn
