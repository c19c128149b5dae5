#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "vorn/platform/data_session.h"

namespace vorn {

/// A store's URL taken apart: scheme, what stands between the scheme and the query, and the query's
/// parameters. Failures name the part that is wrong and never repeat the URL, which may hold a password.
class StoreUrl {
 public:
  static ExecResult parse(const std::string& url, StoreUrl& result);

  const std::string& scheme() const { return m_scheme; }
  const std::string& location() const { return m_location; }
  const std::map<std::string, std::string>& options() const { return m_options; }

  /// Takes an option out. What is left in options() at the end is unknown, or the driver's.
  /// @return whether it was there
  bool take(const std::string& name, std::string& value);

  /// Takes out an option that is a decimal number between `least` and `most`; `value` stays when it is
  /// absent.
  ExecResult takeNumber(const std::string& name, std::uint32_t least, std::uint32_t most,
                        std::uint32_t& value);

  /// Takes out an option that is one of the space-separated `words`; `value` stays when it is absent.
  ExecResult takeWord(const std::string& name, const std::string& words, std::string& value);

  /// @return a failure for the first option left, or success when none is
  ExecResult refuseRest() const;

  /// @return the failure for an option that nobody knows, named unless it may be a piece of a password, with
  ///         the options that there are: those that were asked for so far
  /// @param others  names that count as well, and are too many to be listed
  ExecResult unknownOption(const std::string& name, const std::vector<std::string>& others = {}) const;

 private:
  std::string m_scheme;
  std::string m_location;
  std::map<std::string, std::string> m_options;
  std::vector<std::string> m_known;  ///< the options that were asked for
};

/// Undoes percent-encoding.
/// @return a failure for a zero byte in the result
ExecResult percentDecode(const std::string& text, std::string& result);

}  // namespace vorn
