#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "vorn/export.h"
#include "vorn/statement.h"

/// One column of a batch: values of one type, in the vector of that type.
/// @code
///   BatchInserter batch;
///   batch["id"] << 1 << 2;
///   std::map<std::string, BaseTypeVector> columns;
///   batch.GetParam(columns);
///   assert(columns["id"].m_type == BaseTypeVector::Signed && columns["id"].m_longVec.size() == 2);
/// @endcode
struct VORN_API BaseTypeVector {
  /// Also the codes under which values of the wrong type are logged.
  enum Type : std::uint32_t { String = 0, Signed = 1, Unsigned = 2, Float = 3, Double = 4 };

  Type m_type = String;  ///< says which vector is in use; the others are empty
  std::vector<std::string> m_strVec;
  std::vector<long> m_longVec;
  std::vector<unsigned long> m_ulongVec;
  std::vector<float> m_floatVec;
  std::vector<double> m_doubleVec;
};

/// Collects whole columns of values for one INSERT, run by CVORN::ExecBatchInserter().
///
/// Row i is made of the i-th values of all columns. The values travel beside the statement, whose text holds
/// a placeholder `{name}` for each column. The columns stand in byte-wise order of their names, whatever the
/// order in which they were filled.
///
/// The first value of a column decides the column's type. bool, short, int and long make a signed column and
/// may be mixed; so may their unsigned counterparts. float, double and std::string may not be mixed with
/// another type.
///
/// A batch is copied with all of its values.
/// @code
///   BatchInserter batch;
///   batch.table("alarm");
///   batch["id"] << 1 << 2;
///   batch["name"] << std::string("fan") << std::string("disk");
///   assert(batch.toString() == "insert into alarm (id, name) values({id}, {name})");
///   if (db->ExecBatchInserter(batch) != 0) std::cerr << "neither row was stored\n";
///   batch.clear();  // the batch is ready for more rows of the same table
/// @endcode
///
/// Threads: one thread at a time.
///
/// Errors: a value whose type does not fit its column is logged at error level and dropped. Its column is
/// then shorter than the others, so that CVORN::ExecBatchInserter() refuses the batch.
///
/// Requires: a batch that was moved from is cleared before it is used again.
class VORN_API BatchInserter : public CVORNBase {
 public:
  BatchInserter();
  BatchInserter(const BatchInserter&) = default;
  BatchInserter(BatchInserter&&) = default;
  /// Copies the whole batch, or throws and leaves this batch as it was.
  BatchInserter& operator=(const BatchInserter& other);
  BatchInserter& operator=(BatchInserter&&) = default;
  ~BatchInserter() override;

  /// Replaces the table. The name is neither escaped nor quoted.
  CVORNTable table(const std::string& name) override;

  /// @return the statement with a placeholder for each column, without the values; both lists are empty in a
  ///         batch without columns
  std::string toString() const override;

  /// Forgets the columns and their values; the table stays.
  void clear() override;

  /// Selects the column to which values are appended until another column is selected. Single quotes in the
  /// name are doubled. A column without values is no part of the statement.
  BatchInserter& operator[](const std::string& column);

  /// Appends a value to the selected column.
  ///
  /// Errors: a value that does not fit the column's type is logged and dropped.
  ///
  /// Requires: a column was selected since the batch was created or cleared. Otherwise the values go to a
  /// column with an empty name.
  BatchInserter& operator<<(const bool& value);
  BatchInserter& operator<<(const std::string& value);
  BatchInserter& operator<<(const short& value);
  BatchInserter& operator<<(const unsigned short& value);
  BatchInserter& operator<<(const int& value);
  BatchInserter& operator<<(const unsigned int& value);
  BatchInserter& operator<<(const long& value);
  BatchInserter& operator<<(const unsigned long& value);
  BatchInserter& operator<<(const float& value);
  BatchInserter& operator<<(const double& value);

  /// A string literal would silently become a bool. Use std::string.
  BatchInserter& operator<<(const char* value) = delete;

  /// Copies all columns.
  /// @param out  receives the columns by their names; what it held before is gone
  void GetParam(std::map<std::string, BaseTypeVector>& out) const;

 private:
  // Reads the columns where they are, so that running a batch does not double its memory.
  friend class MIRAsqlDB;

  /// The selected column's entry once it is known, so that appending looks nothing up. It points into the map
  /// of one object and therefore never goes along when that object is copied or moved.
  struct CurrentEntry {
    CurrentEntry() = default;
    CurrentEntry(const CurrentEntry&) noexcept {}
    CurrentEntry(CurrentEntry&& other) noexcept { other.column = nullptr; }
    CurrentEntry& operator=(const CurrentEntry&) = delete;
    CurrentEntry& operator=(CurrentEntry&& other) noexcept {
      column = other.column = nullptr;
      return *this;
    }
    ~CurrentEntry() = default;

    BaseTypeVector* column = nullptr;
  };

  template <typename Element, typename Value>
  BatchInserter& append(BaseTypeVector::Type type, std::vector<Element> BaseTypeVector::*values,
                        const Value& value, int line);

  std::string m_curColumn;
  std::map<std::string, BaseTypeVector> m_paramMap;
  CurrentEntry m_current;
};
