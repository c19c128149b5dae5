#pragma once

#include <string>

namespace vorn {

/// What a statement leaves behind in its session: nothing, what a reset of the session undoes, or what only
/// closing the connection does.
enum class SessionEffect : unsigned char { None, Reset, Close };

/// What a statement may ask of those before it in the session: the counts of the last one, its warnings, the last key
/// that the server gave, or, where its text does not show it, any of these.
enum class LookBack : unsigned char { None, Counts, Warnings, Id, Anything };

/// What the text of a statement shows about it. What a function, a trigger or a view does does not show.
struct StatementEffects {
  bool empty = false;       ///< nothing but blanks, semicolons and comments
  bool countsRows = false;  ///< its count of affected rows is that of the rows that it has written
  bool onlyReads = false;   ///< once it has returned its first row, it can do nothing more than return others
  bool begins = false;      ///< it begins a transaction, also in a comment that the server runs
  bool closes = false;      ///< the server closes the connection after it
  bool mayCommit = false;  ///< it may commit an open transaction before it does anything, and fail after that
  LookBack lookBack = LookBack::None;
  SessionEffect session = SessionEffect::None;
};

/// A call of a function counts as an effect on the session unless it is a common built-in one, as a stored function
/// may set variables and take locks.
StatementEffects effectsOf(const std::string& sql);

/// @return whether another statement follows after a semicolon. To be asked for a text that the server has refused:
///         in the body of a routine semicolons are part of the statement.
bool hasSecondStatement(const std::string& sql);

}  // namespace vorn
