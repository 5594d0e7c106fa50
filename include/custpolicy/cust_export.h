#pragma once

// The library is built with hidden symbols; only what carries this mark is exported.
#define CUST_EXPORT __attribute__((visibility("default")))
