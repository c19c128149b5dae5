#include "exec/adapters/LayerError.h"

#include <algorithm>
#include <array>
#include <new>
#include <optional>

namespace vorn {

namespace {

constexpr std::array<const char*, 19> kNames = {nullptr,
                                                "INVALID_URL",
                                                "UNKNOWN_SCHEME",
                                                "POOL_EXHAUSTED",
                                                "MULTIPLE_STATEMENTS",
                                                "EMBEDDED_NUL",
                                                "EMPTY_STATEMENT",
                                                "VALUE_OUT_OF_RANGE",
                                                "TRANSACTION_OPEN",
                                                "NO_TRANSACTION",
                                                "TRANSACTION_LOST",
                                                "PARAMETER_MISMATCH",
                                                "INVALID_SESSION_NAME",
                                                "INVALID_REFERENCE",
                                                "FORKED_SESSION",
                                                "CONNECTION_LOST",
                                                "NOT_SUPPORTED",
                                                "OUT_OF_MEMORY",
                                                "FORKED_STORE"};

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

ExecResult makeFailure(LayerError error, const std::string& message) {
  return makeFailure(ErrorFamily::Layer, static_cast<std::uint32_t>(error), message);
}

// The texts of these two are short enough to stand in the string itself.
ExecResult outOfMemory() noexcept {
  return {1, makeErrorCode(ErrorFamily::Layer, static_cast<std::uint32_t>(LayerError::OutOfMemory)),
          std::string("out of memory")};
}

ExecResult connectionClosed() noexcept {
  return {1, makeErrorCode(ErrorFamily::Layer, static_cast<std::uint32_t>(LayerError::ConnectionLost)),
          std::string("connection lost")};
}

void assignResult(ExecResult& target, const ExecResult& source) noexcept {
  try {
    target = source;
  } catch (const std::bad_alloc&) {
    target = ExecResult(source.outcome(), source.errorCode(), std::nullopt);
  }
}

const char* layerErrorName(std::uint32_t native) {
  return native < kNames.size() ? kNames[native] : nullptr;
}

}  // namespace vorn
