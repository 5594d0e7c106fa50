// Placeholder until the file-backed store lands: every table is absent.
#include "platform/ConfigStore.h"

extern "C" {
int32_t GetKeyCount(const char*) { return 0; }
int32_t GetValuesCount(const char*, const char*) { return 0; }
int32_t GetLocaleKeyCount(const char*, const char*) { return 0; }
int32_t GetLocaleKeyValuesCount(const char*, const char*, const char*) { return 0; }
int32_t GetLocaleIntegerListConfiguration(const char*, const char*, const char*, int32_t*, int32_t) {
    return -1;
}
}
