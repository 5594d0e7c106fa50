// The five store functions with arbitrary table, locale and key names (null included) and
// arbitrary counts (0, negative and huge included) against a small loaded configuration. Every
// answer, every status, the caller's array and the call record are checked against the reference
// reading of the configuration.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "host_config_store.h"
#include "platform/ConfigStore.h"

namespace {

using custfuzz::fail;
using custfuzz::ReferenceConfig;
using hostconfig::StoreFunction;

constexpr int32_t kSentinel = 0x5A5A5A5A;
constexpr size_t kMaxQueries = 256;
// Arrays up to this many integers are allocated to the exact count asked for, so that the address
// sanitizer sees any write past it; larger counts get a small array (no entry is that wide).
constexpr int32_t kMaxExactArray = 1 << 16;
constexpr size_t kSmallArray = 16;

using Name = std::optional<std::string>;

const char* cstr(const Name& name) { return name ? name->c_str() : nullptr; }

struct Pools {
    std::vector<std::string> tables;
    std::vector<std::string> locales;
    std::vector<std::string> keys;
};

Pools poolsOf(const ReferenceConfig& ref) {
    Pools pools;
    for (const auto& table : ref.tables) {
        pools.tables.push_back(table.first);
        for (const auto& entry : table.second) pools.keys.push_back(entry.first.second);
    }
    for (const auto& table : custfuzz::policyTables()) pools.tables.emplace_back(table.name);
    pools.locales = ref.locales();
    for (const auto& locale : custfuzz::fixedLocales()) pools.locales.push_back(locale);
    for (int i = 0; i < 12; ++i) pools.keys.push_back(std::to_string(i));
    pools.keys.emplace_back("-1");
    pools.keys.emplace_back("00");
    return pools;
}

// The name as the store sees it: a C string ends at its first NUL.
std::string asCString(std::string name) {
    name.resize(std::strlen(name.c_str()));
    return name;
}

Name pickMaybe(FuzzedDataProvider& fdp, const std::vector<std::string>& pool) {
    if (fdp.ConsumeIntegralInRange<int>(0, 15) == 0) return std::nullopt;
    return asCString(custfuzz::pickName(fdp, pool));
}

// The entry that a full name designates, the way the format splits it.
const std::vector<int32_t>* entryByFullName(const ReferenceConfig& ref, const std::string& table,
                                            const std::string& fullName) {
    std::string locale;
    std::string key;
    if (!custfuzz::splitReferenceName(fullName, locale, key)) return nullptr;
    return ref.find(table, locale, key);
}

int32_t widthOf(const std::vector<int32_t>* entry) {
    return entry != nullptr ? static_cast<int32_t>(entry->size()) : 0;
}

void expectAnswer(const char* what, int32_t actual, int32_t expected) {
    if (actual != expected) {
        fail(std::string(what) + " answered " + std::to_string(actual) + ", expected " +
             std::to_string(expected));
    }
}

// The store records exactly the call just made.
void expectRecord(StoreFunction function, const Name& table, const Name& name, const Name& key,
                  int32_t wanted, int32_t result) {
    const std::vector<hostconfig::StoreCall> calls = hostconfig::calls();
    hostconfig::clearCalls();
    if (calls.size() != 1) fail("expected one recorded call, got " + std::to_string(calls.size()));
    const hostconfig::StoreCall& call = calls.front();
    if (call.function != function || call.table != table.value_or("") ||
        call.name != name.value_or("") || call.key != key.value_or("") || call.wanted != wanted ||
        call.result != result) {
        fail("recorded " + hostconfig::describe(call));
    }
}

int32_t pickCount(FuzzedDataProvider& fdp, int32_t width) {
    switch (fdp.ConsumeIntegralInRange<int>(0, 7)) {
        case 0:
            return width;
        case 1:
            return width + 1;
        case 2:
            return width - 1;
        case 3:
            return 0;
        case 4:
            return std::numeric_limits<int32_t>::max();
        case 5:
            return std::numeric_limits<int32_t>::min();
        case 6:
            return -1;
        default:
            return fdp.ConsumeIntegral<int32_t>();
    }
}

void queryRead(FuzzedDataProvider& fdp, const ReferenceConfig& ref, const Pools& pools,
               const Name& table) {
    const Name locale = pickMaybe(fdp, pools.locales);
    const Name key = pickMaybe(fdp, pools.keys);
    const std::vector<int32_t>* entry =
        table && locale && key ? entryByFullName(ref, *table, *locale + "[" + *key + "]") : nullptr;
    const int32_t count = pickCount(fdp, widthOf(entry));
    const bool nullArray = fdp.ConsumeIntegralInRange<int>(0, 15) == 0;
    const size_t arraySize = count >= 0 && count <= kMaxExactArray
                                 ? std::max<size_t>(static_cast<size_t>(count), 1)
                                 : kSmallArray;
    std::unique_ptr<int32_t[]> array(new int32_t[arraySize]);
    for (size_t i = 0; i < arraySize; ++i) array[i] = kSentinel;

    int32_t expected = hostconfig::kStatusOk;
    if (!table || !locale || !key || nullArray) {
        expected = hostconfig::kStatusNullArgument;
    } else if (entry == nullptr) {
        expected = hostconfig::kStatusNoEntry;
    } else if (count != widthOf(entry)) {
        expected = hostconfig::kStatusWrongCount;
    }
    const int32_t status = GetLocaleIntegerListConfiguration(
        cstr(table), cstr(locale), cstr(key), nullArray ? nullptr : array.get(), count);
    expectAnswer("GetLocaleIntegerListConfiguration", status, expected);
    for (size_t i = 0; i < arraySize; ++i) {
        const bool written = status == hostconfig::kStatusOk && i < entry->size();
        if (array[i] != (written ? (*entry)[i] : kSentinel)) {
            fail("the array holds a wrong value at " + std::to_string(i) + " after status " +
                 std::to_string(status));
        }
    }
    expectRecord(StoreFunction::GetLocaleIntegerListConfiguration, table, locale, key, count,
                 status);
}

// What the store holds: the reference reading of the source in force, and that source's name
// ("" when none).
struct StoreModel {
    ReferenceConfig ref;
    std::string source;
};

void runQuery(FuzzedDataProvider& fdp, StoreModel& model, const Pools& pools) {
    ReferenceConfig& ref = model.ref;
    const Name table = pickMaybe(fdp, pools.tables);
    const auto tableFound = table ? ref.tables.find(*table) : ref.tables.end();
    switch (fdp.ConsumeIntegralInRange<int>(0, 6)) {
        case 0: {
            const int32_t expected = tableFound != ref.tables.end()
                                         ? static_cast<int32_t>(tableFound->second.size())
                                         : 0;
            const int32_t count = GetKeyCount(cstr(table));
            expectAnswer("GetKeyCount", count, expected);
            expectRecord(StoreFunction::GetKeyCount, table, std::nullopt, std::nullopt, 0, count);
            break;
        }
        case 1: {
            // A composed full name, or any string at all.
            Name fullName = pickMaybe(fdp, pools.locales);
            if (fullName && fdp.ConsumeBool()) {
                *fullName = asCString(*fullName + "[" + custfuzz::pickName(fdp, pools.keys) + "]");
            }
            const int32_t expected =
                table && fullName ? widthOf(entryByFullName(ref, *table, *fullName)) : 0;
            const int32_t count = GetValuesCount(cstr(table), cstr(fullName));
            expectAnswer("GetValuesCount", count, expected);
            expectRecord(StoreFunction::GetValuesCount, table, fullName, std::nullopt, 0, count);
            break;
        }
        case 2: {
            const Name locale = pickMaybe(fdp, pools.locales);
            const int32_t expected = table && locale ? ref.localeKeyCount(*table, *locale) : 0;
            const int32_t count = GetLocaleKeyCount(cstr(table), cstr(locale));
            expectAnswer("GetLocaleKeyCount", count, expected);
            expectRecord(StoreFunction::GetLocaleKeyCount, table, locale, std::nullopt, 0, count);
            break;
        }
        case 3: {
            const Name locale = pickMaybe(fdp, pools.locales);
            const Name key = pickMaybe(fdp, pools.keys);
            // (locale, key) names the entry whose full name is locale[key].
            const int32_t expected =
                table && locale && key
                    ? widthOf(entryByFullName(ref, *table, *locale + "[" + *key + "]"))
                    : 0;
            const int32_t count = GetLocaleKeyValuesCount(cstr(table), cstr(locale), cstr(key));
            expectAnswer("GetLocaleKeyValuesCount", count, expected);
            expectRecord(StoreFunction::GetLocaleKeyValuesCount, table, locale, key, 0, count);
            break;
        }
        case 4:
            queryRead(fdp, ref, pools, table);
            break;
        case 5: {
            const hostconfig::LoadResult result = hostconfig::reload();
            if (result.ok != !model.source.empty()) fail("reload: " + result.error());
            if (hostconfig::currentSource() != model.source) {
                fail("source in force: " + hostconfig::currentSource());
            }
            break;
        }
        default:
            if (fdp.ConsumeIntegralInRange<int>(0, 7) != 0) break;
            hostconfig::clear();
            ref.tables.clear();
            model.source.clear();
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const custfuzz::SplitInput input = custfuzz::splitInput(data, size);
    FuzzedDataProvider fdp(input.driveData, input.driveSize);
    std::string generated;
    std::string_view text = input.configText;
    if (input.source == custfuzz::ConfigSource::Generated) {
        generated = custfuzz::generateConfig(fdp, custfuzz::fixedLocales());
        text = generated;
    }

    hostconfig::setRecording(false);
    StoreModel model{custfuzz::loadInputConfig(input, text), hostconfig::currentSource()};
    if (input.source == custfuzz::ConfigSource::Generated && !model.ref.ok) {
        custfuzz::fail("a generated configuration was refused");
    }
    const Pools pools = poolsOf(model.ref);
    hostconfig::setRecording(true);
    hostconfig::clearCalls();

    for (size_t i = 0; i < kMaxQueries && fdp.remaining_bytes() > 0; ++i) {
        runQuery(fdp, model, pools);
    }
    hostconfig::clear();
    hostconfig::clearCalls();
    return 0;
}
