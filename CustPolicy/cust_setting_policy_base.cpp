#include "cust_setting_policy_base.h"
