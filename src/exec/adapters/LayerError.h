#pragma once

#include <cstdint>
#include <string>

#include "vorn/platform/data_session.h"

namespace vorn {

/// Who an error code comes from: the upper 32 bits of ExecResult::errorCode().
enum class ErrorFamily : std::uint32_t { Sqlite = 1, PostgreSql = 2, MariaDb = 3, Layer = 15 };

/// Failures of the data-access layer itself. The values are published: append, never renumber.
enum class LayerError : std::uint32_t {
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
};

std::uint64_t makeErrorCode(ErrorFamily family, std::uint32_t native);

/// @return a failure whose detail is `message` on one line
ExecResult makeFailure(ErrorFamily family, std::uint32_t native, const std::string& message);
ExecResult makeFailure(LayerError error, const std::string& message);

/// @return the failure that there is no memory; making it allocates nothing
ExecResult outOfMemory() noexcept;

/// @return the failure of a cursor whose connection was closed under it; making it allocates nothing
ExecResult connectionClosed() noexcept;

/// Copies an outcome, without its detail where there is no memory for that.
void assignResult(ExecResult& target, const ExecResult& source) noexcept;

/// @return the upper-case name of a layer error, or null for a number that is none
const char* layerErrorName(std::uint32_t native);

}  // namespace vorn
