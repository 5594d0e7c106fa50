#include "config_store.h"
