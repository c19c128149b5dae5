#pragma once

#include <cstddef>

// std::function and std::unique_ptr, without the rest of <functional> and <memory>: that would take a quarter
// of the time in which a file with the library's headers compiles, for algorithms, hashed containers and
// std::shared_ptr. The parts have names of their own in the release of the standard library that this is
// tested with; with any other the whole headers are taken.
#if defined(_GLIBCXX_RELEASE) && _GLIBCXX_RELEASE == 12
#include <bits/std_function.h>
#include <bits/unique_ptr.h>

#include <new>
#include <typeinfo>
#else
#include <functional>
#include <memory>
#endif
