#pragma once

// The library, the HAL and the platform's services exchange std::shared_ptr, std::unordered_map,
// std::map, std::vector and std::string, so all of them must be built with one C++ runtime: the
// device's, libc++ (Soong's default). A HAL built with libstdc++ does not fail cleanly: with one
// string ABI the library reads its strings as garbage, with the other the load fails on a symbol
// that seems unrelated. Every public header includes this one, so the mismatch is a compile error
// of the HAL instead.
//
// A host build whose every part (library, platform, services, callers) uses another runtime may
// define CUSTPOLICY_ALLOW_NON_LIBCXX to accept it; this repository's gcc, fuzz, soong and HAL
// example builds do (docs/integration.md).

#include <cstddef>  // any standard header defines _LIBCPP_VERSION under libc++

#if !defined(_LIBCPP_VERSION) && !defined(CUSTPOLICY_ALLOW_NON_LIBCXX)
#error \
    "libcustpolicy needs libc++, the device's C++ runtime: this translation unit is built with another standard library (_LIBCPP_VERSION is not defined). Build it with libc++ (Soong's default; clang -stdlib=libc++), or define CUSTPOLICY_ALLOW_NON_LIBCXX when the library, the platform and every caller share that other runtime."
#endif
