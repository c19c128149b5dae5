#pragma once

#include <libpq-fe.h>

/// The built-in types whose numbers are a fixed piece of the protocol's contract.
namespace vorn::postgres_oid {

constexpr Oid kBool = 16;
constexpr Oid kBytea = 17;
constexpr Oid kInt8 = 20;
constexpr Oid kInt2 = 21;
constexpr Oid kInt4 = 23;
constexpr Oid kText = 25;
constexpr Oid kFloat4 = 700;
constexpr Oid kFloat8 = 701;
constexpr Oid kBpchar = 1042;
constexpr Oid kVarchar = 1043;
constexpr Oid kDate = 1082;
constexpr Oid kTimestamp = 1114;
constexpr Oid kInterval = 1186;
constexpr Oid kNumeric = 1700;
constexpr Oid kUuid = 2950;

}  // namespace vorn::postgres_oid
