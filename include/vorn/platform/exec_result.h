#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace vorn {

/// The outcome of one call into the data-access layer. A plain value. A caller that means to ignore an
/// outcome writes `static_cast<void>(call())` and says why.
class [[nodiscard]] ExecResult {
 public:
  /// Success.
  ExecResult() = default;

  /// A failure, or (outcome 0) a success that carries a code or a remark.
  /// @param outcome  0 for success
  /// @param errorCode  `family << 32 | native`, see describeError()
  /// @param detail  the store's own message on one line, or nothing
  ExecResult(std::int32_t outcome, std::uint64_t errorCode, std::optional<std::string> detail)
      : m_errorCode(errorCode), m_outcome(outcome), m_detail(std::move(detail)) {}

  std::int32_t outcome() const noexcept { return m_outcome; }
  std::uint64_t errorCode() const noexcept { return m_errorCode; }
  const std::optional<std::string>& detail() const noexcept { return m_detail; }
  bool succeeded() const noexcept { return m_outcome == 0; }

 private:
  std::uint64_t m_errorCode = 0;
  std::int32_t m_outcome = 0;
  std::optional<std::string> m_detail;
};

}  // namespace vorn
