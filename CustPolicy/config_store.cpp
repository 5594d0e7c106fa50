#include "config_store.h"

// The store is the platform's; everything the library adds to it is in the header.
