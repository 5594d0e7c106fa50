#include "cust_rrzo_adaptor.h"
