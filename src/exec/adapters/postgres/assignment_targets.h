#pragma once

#include <string>
#include <vector>

namespace vorn {

/// The columns to which an insert or update assigns parameters.
struct AssignmentTargets {
  std::string select;           ///< reads these columns; empty when there are none
  std::vector<int> parameters;  ///< for each column of the select the parameter that it is given, from 0
};

/// @param statement  as StatementShape::statement() has it, of a text that is liftable
AssignmentTargets assignmentTargets(const std::string& statement);

/// @param statement  an insert, update or delete, liftable or not
/// @return the name of the table that it writes to; empty if that is not understood
std::string writtenTable(const std::string& statement);

}  // namespace vorn
