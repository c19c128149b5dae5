#pragma once

#include <cstddef>

#include "vorn/export.h"

namespace vorn {

/// Formats as std::snprintf() does, with two bounds, and independent of every locale: the decimal point is a
/// point.
/// @code
///   char number[8];
///   assert(vorn::snprintf_s(number, sizeof number, sizeof number - 1, "%.1f", 0.5) == 3);
///   assert(vorn::snprintf_s(number, sizeof number, 2, "%.1f", 0.5) == -1 && std::string(number) == "0.");
/// @endcode
/// @param destination      receives the text and the zero byte after it
/// @param destinationSize  the size of `destination` in bytes
/// @param maximumCount     how many characters to write at most, without the zero byte
/// @return the number of characters written, or -1 on failure and on truncation. A truncated text stays in
///         `destination`, cut at `maximumCount`; any other failure leaves an empty text there.
///
/// Threads: any thread.
///
/// Requires: `maximumCount` is less than `destinationSize`.
VORN_API int snprintf_s(char* destination, std::size_t destinationSize, std::size_t maximumCount,
                        const char* format, ...) __attribute__((format(printf, 4, 5)));

/// Copies `count` bytes. Where they do not fit or `source` is null, nothing is copied, and the destination is
/// filled with zero bytes.
/// @code
///   char bytes[] = "abc";
///   assert(vorn::memcpy_s(bytes, 3, "xy", 2) == 0 && std::string(bytes) == "xyc");
///   assert(vorn::memcpy_s(bytes, 1, "ab", 2) == ERANGE && std::string(bytes, 3) == std::string("\0yc", 3));
///   assert(vorn::memcpy_s(bytes, 3, nullptr, 1) == EINVAL && std::string(bytes, 3) == std::string(3, '\0'));
/// @endcode
/// @return 0, EINVAL for a null pointer, or ERANGE when the bytes do not fit
///
/// Threads: any thread.
VORN_API int memcpy_s(void* destination, std::size_t destinationSize, const void* source, std::size_t count);

/// Sets `count` bytes to `value`, or `destinationSize` bytes when `count` is larger.
/// @code
///   char bytes[] = "abc";
///   assert(vorn::memset_s(bytes, 1, 'd', 2) == ERANGE && std::string(bytes) == "dbc");
/// @endcode
/// @return 0, EINVAL for a null destination, or ERANGE when `count` is larger than `destinationSize`
///
/// Threads: any thread.
VORN_API int memset_s(void* destination, std::size_t destinationSize, int value, std::size_t count);

}  // namespace vorn
