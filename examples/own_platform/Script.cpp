#include "own_platform/Script.h"

#include <cstdio>
#include <utility>

Script& Script::instance() {
  static Script script;
  return script;
}

void Script::add(const std::string& statement) {
  if (m_isOpen) {
    m_transaction.push_back(statement);
  } else {
    std::printf("%s;\n", statement.c_str());
  }
}

bool Script::begin() {
  return !std::exchange(m_isOpen, true);
}

bool Script::commit() {
  if (!m_isOpen) return false;
  std::printf("begin;\n");
  for (const std::string& statement : m_transaction) std::printf("%s;\n", statement.c_str());
  std::printf("commit;\n");
  return rollback();
}

bool Script::rollback() {
  m_transaction.clear();
  return std::exchange(m_isOpen, false);
}
