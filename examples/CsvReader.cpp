#include "CsvReader.h"

#include <filesystem>
#include <stdexcept>

CsvReader::CsvReader(const std::string& path) : m_path(path), m_file(path, std::ios::binary) {
  std::error_code error;
  m_bytes = std::filesystem::file_size(path, error);
  if (!m_file || error) throw std::runtime_error("cannot read " + path);
}

bool CsvReader::readLine(std::string& line) {
  if (!std::getline(m_file, line)) {
    if (m_file.bad())
      throw std::runtime_error("cannot read " + m_path + " after line " + std::to_string(m_line));
    return false;
  }
  ++m_line;
  m_bytesRead += line.size() + (m_file.eof() ? 0 : 1);
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return true;
}

bool CsvReader::next() {
  std::string record;
  do {
    if (!readLine(record)) return false;
  } while (record.empty());
  m_recordLine = m_line;
  split(record);
  return true;
}

void CsvReader::split(std::string& record) {
  m_fields.assign(1, {});
  m_problem.clear();
  bool quoted = false;
  for (std::size_t at = 0;; ++at) {
    if (at == record.size()) {
      if (!quoted) return;
      std::string more;  // a line break in quotes
      if (!readLine(more)) {
        m_problem = "a quote is not closed";
        return;
      }
      record += '\n' + more;
    }
    const char character = record[at];
    if (character == '"' && quoted && at + 1 < record.size() && record[at + 1] == '"') {
      m_fields.back() += record[++at];
    } else if (character == '"') {
      quoted = !quoted;
    } else if (character == ',' && !quoted) {
      m_fields.emplace_back();
    } else {
      m_fields.back() += character;
    }
  }
}
