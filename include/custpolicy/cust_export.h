#pragma once

#include "custpolicy/cust_runtime.h"

// The library is built with hidden symbols; only what carries this mark is exported (and the
// version script CustPolicy/libcustpolicy.map.txt has the last word). A build that needs another
// spelling, or none, defines CUST_EXPORT before including the library's headers.
#ifndef CUST_EXPORT
#define CUST_EXPORT __attribute__((visibility("default")))
#endif
