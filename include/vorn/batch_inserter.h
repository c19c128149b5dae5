#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "vorn/export.h"
#include "vorn/statement.h"

/// One column of a batch: values of one type, in the vector of that type. A plain value.
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
/// a placeholder `{name}` for each column; columns stand in byte-wise order of their names, whatever the
/// order in which they were filled.
/// @code
///   BatchInserter batch;
///   batch.table("alarm");
///   batch["id"] << 1 << 2;
///   batch["name"] << std::string("fan") << std::string("disk");
///   db->ExecBatchInserter(batch);  // insert into alarm (id, name) values({id}, {name})
///   batch.clear();                 // ready for more rows of the same table
/// @endcode
/// The first value of a column decides its type: bool, short, int and long make a signed column and may be
/// mixed, so may their unsigned counterparts; float, double and std::string stand alone. A value of another
/// type is logged at error level and dropped, which leaves its column shorter than the others.
///
/// A value like the other builders: copied whole, one thread at a time. A batch that was moved from is to be
/// cleared before it is used again.
class VORN_API BatchInserter : public CVORNBase {
 public:
  BatchInserter();
  BatchInserter(const BatchInserter&) = default;
  BatchInserter(BatchInserter&&) = default;
  /// Copies the whole batch, or throws and leaves this one as it was.
  BatchInserter& operator=(const BatchInserter& other);
  BatchInserter& operator=(BatchInserter&&) = default;
  ~BatchInserter() override;

  /// Names the table, neither escaped nor quoted.
  CVORNTable table(const std::string& name) override;

  /// Renders the statement; a batch without columns renders empty lists.
  std::string toString() const override;

  /// Forgets the columns and their values; the table stays.
  void clear() override;

  /// Selects the column that the following values go to, until another is selected. Single quotes in the name
  /// are doubled. A column that gets no value is no part of the statement.
  BatchInserter& operator[](const std::string& column);

  /// Append a value to the selected column, or log it where the column holds another type.
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

  /// A text literal would silently become a bool. Use std::string.
  BatchInserter& operator<<(const char* value) = delete;

  /// Replaces the content of `out` by a copy of all columns.
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
