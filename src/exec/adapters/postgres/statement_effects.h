#pragma once

#include <string>

namespace vorn {

/// @return whether a statement that returns rows also writes, as far as its text shows. Such a statement may
///         still fail after its last row. What a function writes does not show.
bool writesAndReturns(const std::string& sql);

/// @return whether the statement is a COPY, the one statement that may ask for data
bool isCopy(const std::string& sql);

/// @return whether the statement asks for the end of the transaction with nothing kept, or for a savepoint
bool isRollback(const std::string& sql);

/// What a statement may take from under those that follow it in its transaction: the locks that hold their
/// tables in place, the settings of the transaction, or the schema. Hidden is what the triggers of a write may do.
enum class SchemaEffect : unsigned char { None, Locks, Hidden, Settings, Schema };

/// What other functions do does not show here; mayChangeSession() names the calls that may do anything.
SchemaEffect schemaEffect(const std::string& sql);

/// @return whether the statement may leave something behind in its session: settings, a role, temporary
///         objects, locks, listening. A call of a function counts unless it is a common built-in one; what a
///         trigger, a view or an operator calls does not show.
bool mayChangeSession(const std::string& sql);

}  // namespace vorn
