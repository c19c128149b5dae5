#pragma once

/// The version of the library that these headers belong to, one number each.
///
/// Two releases with the same VORN_VERSION_MAJOR are compatible: a program that was built with the older one
/// runs with the newer one.
/// @code
///   static_assert(VORN_VERSION_MAJOR == 1, "written for the first major version");
/// @endcode
// The only place where the version stands: the build reads it from these lines.
#define VORN_VERSION_MAJOR 1
#define VORN_VERSION_MINOR 0
#define VORN_VERSION_PATCH 0
