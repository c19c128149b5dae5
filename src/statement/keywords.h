#pragma once

#include <string_view>

/// The fragments that statements are made of. They carry their own blanks, unevenly: a builder adds none, so
/// every blank here is part of the rendered text.
namespace vorn::keyword {

inline constexpr std::string_view kDistinct = "distinct ";
inline constexpr std::string_view kOrderBy = " order by ";
inline constexpr std::string_view kSelect = "select ";
inline constexpr std::string_view kInsertInto = "insert into ";
inline constexpr std::string_view kValues = " values(";
inline constexpr std::string_view kUpdate = "update ";
inline constexpr std::string_view kDeleteFrom = "delete from ";
inline constexpr std::string_view kWhere = " where ";
inline constexpr std::string_view kIn = " in ";
inline constexpr std::string_view kNotIn = " not in ";
inline constexpr std::string_view kAnd = " and ";
inline constexpr std::string_view kOr = " or ";
inline constexpr std::string_view kFrom = " from ";
inline constexpr std::string_view kSet = " set ";
inline constexpr std::string_view kCount = " count";
inline constexpr std::string_view kCountStar = " count(*) ";
inline constexpr std::string_view kAllColumns = " * ";
inline constexpr std::string_view kDrop = "drop ";
inline constexpr std::string_view kTable = "table ";
inline constexpr std::string_view kView = "view ";
inline constexpr std::string_view kMin = " min";
inline constexpr std::string_view kMax = " max";
inline constexpr std::string_view kAvg = " avg ";
inline constexpr std::string_view kLike = " LIKE ";
inline constexpr std::string_view kDescending = " DESC";
inline constexpr std::string_view kLimit = " LIMIT ";
inline constexpr std::string_view kOffset = " OFFSET ";

inline constexpr std::string_view kDatabaseSuffix = ".db";
inline constexpr std::string_view kEmpty;
inline constexpr std::string_view kTrueUpper = "TRUE";
inline constexpr std::string_view kTrueLower = "true";
inline constexpr std::string_view kFalseUpper = "FALSE";
inline constexpr std::string_view kFalseLower = "false";
inline constexpr std::string_view kCallError = "Call Function return Error:";

}  // namespace vorn::keyword
