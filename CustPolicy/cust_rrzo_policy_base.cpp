#include "cust_rrzo_policy_base.h"
