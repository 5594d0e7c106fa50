#include "cust_setting_policy_legacy.h"
