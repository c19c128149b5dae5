#pragma once

namespace vorn {

/// What a text scanner has to know of a store's SQL beyond what all stores share: literals in single quotes,
/// names in double quotes, comments of both forms. Each store has one constant of this type.
struct SqlDialect {
  char parameterMark;               ///< ?, $
  bool numberedParameters = true;   ///< whether a number goes after the mark: ?1, $1
  bool backquotedNames = false;     ///< `name`
  bool bracketedNames = false;      ///< [name]
  bool nestedComments = false;      ///< comments in slashes may hold others
  bool hashComments = false;        ///< # to the end of the line
  bool dashesNeedBlank = false;     ///< two dashes begin a comment only before a blank or a control byte
  bool executableComments = false;  ///< what stands in /*! … */ is run, so it is no comment
  bool escapedLiterals = false;     ///< E'…', in which a backslash takes the next byte with it
  bool dollarQuotes = false;        ///< $$…$$ and $tag$…$tag$

  // What StatementShape lifts, and how.
  bool typedParameters = false;        ///< a parameter has the type of its literal, which tells shapes apart
  bool backslashIsASetting = false;    ///< what it means in a plain literal depends on the session
  bool doubleQuotedLiterals = false;   ///< "…" is a text where no such name is known
  bool literalsDecideThePlan = false;  ///< the planner looks at -1, 0, 1, limits, patterns, equal literals
};

}  // namespace vorn
