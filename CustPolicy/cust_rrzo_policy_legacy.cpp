#include "cust_rrzo_policy_legacy.h"
