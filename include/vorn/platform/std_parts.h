#pragma once

// std::function and std::unique_ptr, without the rest of <functional> and <memory>: that would take a
// fifth of the time in which a file with the library's headers compiles, for algorithms, hashed containers
// and std::shared_ptr.
#if __has_include(<bits/std_function.h>) && __has_include(<bits/unique_ptr.h>)
#include <bits/std_function.h>
#include <bits/unique_ptr.h>

#include <new>
#include <typeinfo>
#else
#include <functional>
#include <memory>
#endif
