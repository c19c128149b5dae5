#pragma once

#include <cstddef>

#include "vorn/export.h"

namespace vorn {

/// Formats like std::snprintf, bounded twice, and independent of every locale: the decimal point is a point.
///
/// @param destination      receives the text and its terminating zero byte
/// @param destinationSize  size of `destination` in bytes
/// @param maximumCount     most characters to write, without the zero byte; below `destinationSize`
/// @return the number of characters written, or -1 on failure or truncation. A truncated text stays in
///         `destination`, cut at `maximumCount`; any other failure leaves an empty text there.
VORN_API int snprintf_s(char* destination, std::size_t destinationSize, std::size_t maximumCount,
                        const char* format, ...) __attribute__((format(printf, 4, 5)));

/// Copies `count` bytes, unless they do not fit or a pointer is null: then the destination (where there is
/// one) is zero-filled and nothing is copied.
/// @return 0, or EINVAL or ERANGE
VORN_API int memcpy_s(void* destination, std::size_t destinationSize, const void* source, std::size_t count);

/// Sets `count` bytes to `value`, or `destinationSize` bytes when `count` is larger.
/// @return 0, or EINVAL (null destination) or ERANGE (count too large)
VORN_API int memset_s(void* destination, std::size_t destinationSize, int value, std::size_t count);

}  // namespace vorn
