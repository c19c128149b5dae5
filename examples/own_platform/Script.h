#pragma once

#include <string>
#include <vector>

/// The statements of a program as an SQL script. What is rolled back does not appear in it.
///
/// Invariant: `m_transaction` holds statements only while a transaction is open.
class Script {
 public:
  /// @return the script of the process, which is written to standard output
  static Script& instance();

  void add(const std::string& statement);

  /// @return false, and nothing is done, when a transaction is open already, or none is
  bool begin();
  bool commit();
  bool rollback();

 private:
  std::vector<std::string> m_transaction;
  bool m_isOpen = false;
};
