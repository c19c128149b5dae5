#include "exec/adapters/base/Failure.h"

#include <algorithm>
#include <array>
#include <new>
#include <optional>

namespace vorn {

namespace {

struct NamedFailure {
  const char* name;
  ErrorClass errorClass;
};

// By number.
constexpr std::array<NamedFailure, 26> kFailures = {{
    {nullptr, ErrorClass::Other},
    {"INVALID_URL", ErrorClass::Refused},
    {"UNKNOWN_SCHEME", ErrorClass::Refused},
    {"POOL_EXHAUSTED", ErrorClass::Timeout},
    {"MULTIPLE_STATEMENTS", ErrorClass::Statement},
    {"EMBEDDED_NUL", ErrorClass::Statement},
    {"EMPTY_STATEMENT", ErrorClass::Statement},
    {"VALUE_OUT_OF_RANGE", ErrorClass::Value},
    {"TRANSACTION_OPEN", ErrorClass::Refused},
    {"NO_TRANSACTION", ErrorClass::Refused},
    {"TRANSACTION_LOST", ErrorClass::ConnectionLost},
    {"PARAMETER_MISMATCH", ErrorClass::Statement},
    {"INVALID_SESSION_NAME", ErrorClass::Refused},
    {"INVALID_REFERENCE", ErrorClass::Refused},
    {"FORKED_SESSION", ErrorClass::Refused},
    {"CONNECTION_LOST", ErrorClass::ConnectionLost},
    {"NOT_SUPPORTED", ErrorClass::Statement},
    {"OUT_OF_MEMORY", ErrorClass::Resource},
    {"FORKED_STORE", ErrorClass::Refused},
    {"MODULE_MISSING", ErrorClass::Resource},
    {"MODULE_VERSION", ErrorClass::Resource},
    {"MODULE_UNREADABLE", ErrorClass::Resource},
    {"COLUMN_COUNT", ErrorClass::Statement},
    {"NULL_VALUE", ErrorClass::Value},
    {"VALUE_TYPE", ErrorClass::Value},
    {"ROW_COUNT", ErrorClass::Statement},
}};

std::string onOneLine(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
  return text;
}

}  // namespace

std::uint64_t makeErrorCode(ErrorFamily family, std::uint32_t native) {
  return static_cast<std::uint64_t>(family) << 32 | native;
}

ExecResult makeFailure(ErrorFamily family, std::uint32_t native, const std::string& message) {
  return {1, makeErrorCode(family, native), onOneLine(message)};
}

ExecResult makeFailure(Failure error, const std::string& message) {
  return makeFailure(ErrorFamily::Layer, static_cast<std::uint32_t>(error), message);
}

// The texts of these two are short enough to stand in the string itself.
ExecResult outOfMemory() noexcept {
  return {1, makeErrorCode(ErrorFamily::Layer, static_cast<std::uint32_t>(Failure::OutOfMemory)),
          std::string("out of memory")};
}

ExecResult connectionClosed() noexcept {
  return {1, makeErrorCode(ErrorFamily::Layer, static_cast<std::uint32_t>(Failure::ConnectionLost)),
          std::string("connection lost")};
}

void assignResult(ExecResult& target, const ExecResult& source) noexcept {
  try {
    target = source;
  } catch (const std::bad_alloc&) {
    target = ExecResult(source.outcome(), source.errorCode(), std::nullopt);
  }
}

const char* failureName(std::uint32_t native) noexcept {
  return native < kFailures.size() ? kFailures[native].name : nullptr;
}

ErrorClass failureClass(std::uint32_t native) noexcept {
  return native < kFailures.size() ? kFailures[native].errorClass : ErrorClass::Other;
}

}  // namespace vorn
