#include "cust_rrzo_policy.h"
