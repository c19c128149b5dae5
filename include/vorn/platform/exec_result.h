#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace vorn {

/// The outcome of one call into the data-access layer. A caller that means to ignore an outcome writes
/// `static_cast<void>(call())` and says why.
/// @code
///   const vorn::ExecResult outcome = vorn::bindStore("default", "sqlite:/var/lib/app/state.db");
///   if (!outcome.succeeded()) std::cerr << vorn::describeError(outcome.errorCode()) << '\n';
///   if (outcome.detail()) std::cerr << *outcome.detail() << '\n';
/// @endcode
class [[nodiscard]] ExecResult {
 public:
  /// Success.
  ExecResult() = default;

  /// A failure; with an outcome of 0 a success that carries a code or a remark.
  /// @param outcome    0 for success
  /// @param errorCode  `family << 32 | native`, see describeError()
  /// @param detail     the store's own message on one line, or nothing
  ExecResult(std::int32_t outcome, std::uint64_t errorCode, std::optional<std::string> detail)
      : m_errorCode(errorCode), m_outcome(outcome), m_detail(std::move(detail)) {}

  /// @return 0 for success
  std::int32_t outcome() const noexcept { return m_outcome; }

  /// @return the code that describeError() puts into words; 0 for a success without a remark, never 0 or 1
  ///         for a failure that comes from the data-access layer
  std::uint64_t errorCode() const noexcept { return m_errorCode; }

  /// @return the store's own message on one line, without the statement's text and without its values
  const std::optional<std::string>& detail() const noexcept { return m_detail; }

  /// @return whether the call did what it was to do
  bool succeeded() const noexcept { return m_outcome == 0; }

 private:
  std::uint64_t m_errorCode = 0;
  std::int32_t m_outcome = 0;
  std::optional<std::string> m_detail;
};

}  // namespace vorn
