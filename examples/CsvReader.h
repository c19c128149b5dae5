#pragma once

#include <fstream>
#include <string>
#include <vector>

/// Reads the records of a CSV file: fields between commas, in double quotes where they hold a comma, a line break or a
/// quote, which is then doubled.
///
/// Errors: std::runtime_error when the file cannot be read.
class CsvReader {
 public:
  explicit CsvReader(const std::string& path);

  /// Takes the next record. Blank lines are left out.
  /// @return false at the end of the file
  bool next();

  const std::vector<std::string>& fields() const { return m_fields; }

  /// @return the line on which the record began, from 1
  long line() const { return m_recordLine; }

  /// @return what is wrong with the record as CSV; empty where nothing is
  const std::string& problem() const { return m_problem; }

  /// @return how many bytes of the file have been read, of how many
  std::size_t bytesRead() const { return m_bytesRead; }
  std::size_t bytes() const { return m_bytes; }

 private:
  bool readLine(std::string& line);
  void split(std::string& record);

  const std::string m_path;
  std::ifstream m_file;
  std::vector<std::string> m_fields;
  std::string m_problem;
  std::size_t m_bytes = 0;
  std::size_t m_bytesRead = 0;
  long m_line = 0;
  long m_recordLine = 0;
};
