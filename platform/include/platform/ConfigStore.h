#pragma once

#include <cstdint>

// The camera configuration store: keyed integer-list tables, read by the legacy policies on every
// call (thread-safe when the HAL configures sensors concurrently). An entry is named either by its full
// name or by (locale, key); the full name is the locale followed by the key in brackets.
extern "C" {
// Number of entries in the table; 0 when the table is absent or empty.
int32_t GetKeyCount(const char* tableName);
// Number of integers in the entry with that full name (such as "Mode[0]").
int32_t GetValuesCount(const char* tableName, const char* entryName);
// Number of keys under the locale; 0 when it has no rows.
int32_t GetLocaleKeyCount(const char* tableName, const char* locale);
// Number of integers in the entry locale[key].
int32_t GetLocaleKeyValuesCount(const char* tableName, const char* locale, const char* key);
// Reads locale[key] into `values`: 0 on success, any other value is an error code and `values`
// is then not to be trusted.
int32_t GetLocaleIntegerListConfiguration(const char* tableName, const char* locale,
                                          const char* key, int32_t* values, int32_t count);
}
