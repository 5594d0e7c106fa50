#pragma once

// CustRrzoAlgoAdaptor is part of the library's public surface.
#include "custpolicy/cust_rrzo_policy.h"
