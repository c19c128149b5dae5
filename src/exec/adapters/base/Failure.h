#pragma once

#include <cstdint>
#include <string>

#include "vorn/platform/data_session.h"
#include "vorn/platform/stores.h"

namespace vorn {

/// Who an error code comes from: the upper 32 bits of ExecResult::errorCode(). The values are published: a
/// store takes the next free one below Layer, never one that another has had. Those from 16 on are left to
/// stores that are kept outside of this library.
enum class ErrorFamily : std::uint32_t { Sqlite = 1, PostgreSql = 2, MariaDb = 3, Layer = 15 };

/// Failures of the data-access layer itself. The values are published: append, never renumber.
enum class Failure : std::uint32_t {
  InvalidUrl = 1,
  UnknownScheme = 2,
  PoolExhausted = 3,
  MultipleStatements = 4,
  EmbeddedNul = 5,
  EmptyStatement = 6,
  ValueOutOfRange = 7,
  TransactionOpen = 8,
  NoTransaction = 9,
  TransactionLost = 10,
  ParameterMismatch = 11,
  InvalidSessionName = 12,
  InvalidReference = 13,
  ForkedSession = 14,
  ConnectionLost = 15,
  NotSupported = 16,
  OutOfMemory = 17,
  ForkedStore = 18,
  ModuleMissing = 19,
  ModuleVersion = 20,
  ModuleUnreadable = 21,
  // Made by vorn/rows.h.
  ColumnCount = 22,
  NullValue = 23,
  ValueType = 24,
  RowCount = 25,
};

std::uint64_t makeErrorCode(ErrorFamily family, std::uint32_t native);

/// @return a failure whose detail is `message` on one line
ExecResult makeFailure(ErrorFamily family, std::uint32_t native, const std::string& message);
ExecResult makeFailure(Failure error, const std::string& message);

/// @return the failure that there is no memory; making it allocates nothing
ExecResult outOfMemory() noexcept;

/// @return the failure of a cursor whose connection was closed under it; making it allocates nothing
ExecResult connectionClosed() noexcept;

/// Copies an outcome, without its detail where there is no memory for that.
void assignResult(ExecResult& target, const ExecResult& source) noexcept;

/// @return the upper-case name of a failure of the layer's own, or null for a number that is none
const char* failureName(std::uint32_t native) noexcept;

/// @return what a failure of the layer's own asks of the caller
ErrorClass failureClass(std::uint32_t native) noexcept;

}  // namespace vorn
