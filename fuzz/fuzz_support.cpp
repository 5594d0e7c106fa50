#include "fuzz_support.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>
#include <tuple>

#include "host_config_store.h"
#include "platform/ConfigStore.h"

namespace custfuzz {

namespace {

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

// Values the policies compare against: wildcard and small ids, capture and operation modes,
// aspect ratios (height x 1000 / width), stream sizes, temperatures and the edges of int32.
constexpr int32_t kInterestingInts[] = {
    -1,   0,      1,          2,    3,    4,    5,        7,        8,      9,    16,
    45,   255,    256,        500,  562,  563,  750,      1000,     720,    1080, 1280,
    1920, 2160,   3000,       3840, 4000, 7680, 8192,     0x8001,   0x8028, 0x40, 0x42,
    0x20, 0x1000, 0x40009007, -2,   kMin, kMax, kMin + 1, kMax - 1,
};

constexpr int32_t kInterestingSides[] = {0,    1,    2,    -1,   720,  1080,  1224, 1280, 1500,
                                         1632, 1920, 2160, 2448, 3000, 3264,  3840, 4000, 8192,
                                         kMin, kMax, -2,   7680, 4320, 46340, 46341};

// Marks a configuration with one table that a refused load must leave in force.
constexpr char kSentinelConfig[] = "[FuzzSentinelTable]\nSentinel[0] = 7\n";
constexpr char kSentinelTable[] = "FuzzSentinelTable";

std::string entryName(const std::string& locale, const std::string& key) {
    return locale + "[" + key + "]";
}

// Replaces the characters that a name of this kind cannot hold in the text format.
// Names stay on their line (no line end) and keep the text UTF-8 (bytes past ASCII would make
// the whole file refused as not text).
std::string sanitized(std::string name, const char* forbidden, const char* fallback) {
    for (char& c : name) {
        const bool lineEnd = c == '\n' || c == '\r';
        const bool notAscii = static_cast<unsigned char>(c) >= 0x80;
        if (lineEnd || notAscii || c == '\0' || std::strchr(forbidden, c) != nullptr) c = '_';
    }
    return name.empty() ? std::string(fallback) : name;
}

std::string sanitizedTableName(std::string name) {
    name = sanitized(std::move(name), "]", "T");
    // Blanks around a section name are dropped by the format; keep the name as it will be read.
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (!name.empty() && blank(name.front())) name.erase(name.begin());
    while (!name.empty() && blank(name.back())) name.pop_back();
    return name.empty() ? std::string("T") : name;
}

std::string quoted(const std::string& name) {
    std::string text = "\"";
    for (char c : name) {
        if (c == '"' || c == '\\') text.push_back('\\');
        text.push_back(c);
    }
    text.push_back('"');
    return text;
}

std::string renderValue(FuzzedDataProvider& fdp, int32_t value) {
    if (fdp.ConsumeBool()) return std::to_string(value);
    char text[16];
    std::snprintf(text, sizeof(text), "0x%X", static_cast<unsigned int>(value));
    return text;
}

void checkEntries(const ReferenceConfig& ref) {
    for (const auto& [table, entries] : ref.tables) {
        const int32_t keyCount = GetKeyCount(table.c_str());
        if (keyCount != static_cast<int32_t>(entries.size())) {
            fail("GetKeyCount(" + table + ") = " + std::to_string(keyCount) + ", expected " +
                 std::to_string(entries.size()));
        }
        for (const auto& [name, values] : entries) {
            const std::string& locale = name.first;
            const std::string& key = name.second;
            const auto width = static_cast<int32_t>(values.size());
            const int32_t localeCount = GetLocaleKeyCount(table.c_str(), locale.c_str());
            if (localeCount != ref.localeKeyCount(table, locale)) {
                fail("GetLocaleKeyCount(" + table + ", " + locale +
                     ") = " + std::to_string(localeCount));
            }
            if (GetLocaleKeyValuesCount(table.c_str(), locale.c_str(), key.c_str()) != width) {
                fail("GetLocaleKeyValuesCount(" + table + ", " + entryName(locale, key) + ")");
            }
            if (GetValuesCount(table.c_str(), entryName(locale, key).c_str()) != width) {
                fail("GetValuesCount(" + table + ", " + entryName(locale, key) + ")");
            }
            std::vector<int32_t> row(values.size() + 1, 0x5A5A5A5A);
            const int32_t status = GetLocaleIntegerListConfiguration(
                table.c_str(), locale.c_str(), key.c_str(), row.data(), width);
            row.pop_back();
            if (status != 0 || row != values) {
                fail("read of " + table + "/" + entryName(locale, key) + " gave status " +
                     std::to_string(status) + " or other values");
            }
        }
    }
}

}  // namespace

void fail(const std::string& message) {
    std::fprintf(stderr, "custfuzz: %s\n", message.c_str());
    std::fflush(stderr);
    std::abort();
}

SplitInput splitInput(const uint8_t* data, size_t size) {
    SplitInput input;
    const void* nul = size == 0 ? nullptr : std::memchr(data, 0, size);
    if (nul == nullptr) {
        input.source = ConfigSource::Example;
        input.configText = exampleConfig();
        input.driveData = data;
        input.driveSize = size;
        return input;
    }
    const auto textSize = static_cast<size_t>(static_cast<const uint8_t*>(nul) - data);
    input.source = textSize == 0 ? ConfigSource::Generated : ConfigSource::Text;
    input.configText = std::string_view(reinterpret_cast<const char*>(data), textSize);
    input.driveData = data + textSize + 1;
    input.driveSize = size - textSize - 1;
    return input;
}

const std::string& exampleConfig() {
    static const std::string sText = [] {
        std::ifstream file(CUSTPOLICY_EXAMPLE_CONFIG, std::ios::binary);
        if (!file) fail(std::string("cannot read ") + CUSTPOLICY_EXAMPLE_CONFIG);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }();
    return sText;
}

int32_t pickInt(FuzzedDataProvider& fdp) {
    if (fdp.ConsumeBool()) return fdp.PickValueInArray(kInterestingInts);
    return fdp.ConsumeIntegral<int32_t>();
}

int32_t pickSide(FuzzedDataProvider& fdp) {
    if (fdp.ConsumeBool()) return fdp.PickValueInArray(kInterestingSides);
    return fdp.ConsumeIntegral<int32_t>();
}

float pickFloat(FuzzedDataProvider& fdp) {
    constexpr float kFloats[] = {0.0f,
                                 1.0f,
                                 -1.0f,
                                 0.5f,
                                 0.5625f,
                                 0.75f,
                                 1.5f,
                                 std::numeric_limits<float>::quiet_NaN(),
                                 std::numeric_limits<float>::infinity(),
                                 -std::numeric_limits<float>::infinity(),
                                 std::numeric_limits<float>::max(),
                                 std::numeric_limits<float>::lowest(),
                                 std::numeric_limits<float>::denorm_min()};
    if (fdp.ConsumeBool()) return fdp.PickValueInArray(kFloats);
    return fdp.ConsumeFloatingPoint<float>();
}

std::string pickName(FuzzedDataProvider& fdp, const std::vector<std::string>& pool) {
    if (!pool.empty() && fdp.ConsumeBool()) {
        return pool[fdp.ConsumeIntegralInRange<size_t>(0, pool.size() - 1)];
    }
    return fdp.ConsumeRandomLengthString(32);
}

const std::vector<PolicyTable>& policyTables() {
    static const std::vector<PolicyTable> kTables = {
        {"CommonSensorSettingMap", 3},
        {"SystemCamSensorSettingMap", 9},
        {"ThirdCamSensorSettingMap", 8},
        {"ThirdCamSensorSettingMapByActivity", 9},
        {"ThirdCamSensorSettingMapByThermal", 3},
        {"CameraCustomSensorSize", 5},
        {"CameraCustomRrzoSize", 5},
    };
    return kTables;
}

const std::vector<std::string>& fixedLocales() {
    static const std::vector<std::string> kLocales = {"Mode", "AllCamApp", "android.camera.cts"};
    return kLocales;
}

std::string generateConfig(FuzzedDataProvider& fdp, const std::vector<std::string>& localePool) {
    constexpr size_t kMaxSections = 8;
    constexpr size_t kMaxRows = 12;
    constexpr int32_t kMaxOddWidth = 12;
    std::string text;
    std::set<std::tuple<std::string, std::string, std::string>> written;
    const size_t sections = fdp.ConsumeIntegralInRange<size_t>(0, kMaxSections);
    for (size_t s = 0; s < sections; ++s) {
        const auto& tables = policyTables();
        const bool policyTable = fdp.ConsumeIntegralInRange<int>(0, 7) != 0;
        const PolicyTable& table = tables[fdp.ConsumeIntegralInRange<size_t>(0, tables.size() - 1)];
        const std::string tableName =
            policyTable ? table.name : sanitizedTableName(fdp.ConsumeRandomLengthString(24));
        text += "[" + tableName + "]\n";

        const std::string locale = sanitized(pickName(fdp, localePool), "", "");
        const size_t rows = fdp.ConsumeIntegralInRange<size_t>(0, kMaxRows);
        for (size_t r = 0; r < rows; ++r) {
            // Mostly the next decimal key; sometimes another locale, key or width for this row.
            std::string rowLocale = locale;
            std::string key = std::to_string(r);
            int32_t width = policyTable ? table.width : fdp.ConsumeIntegralInRange<int32_t>(1, 9);
            switch (fdp.ConsumeIntegralInRange<int>(0, 15)) {
                case 0:
                    rowLocale = sanitized(pickName(fdp, localePool), "", "");
                    break;
                case 1:
                    key = sanitized(fdp.ConsumeRandomLengthString(6), "[", "0");
                    break;
                case 2:
                    key = std::to_string(fdp.ConsumeIntegralInRange<int32_t>(0, 40));
                    break;
                case 3:
                    width = fdp.ConsumeIntegralInRange<int32_t>(1, kMaxOddWidth);
                    break;
                default:
                    break;
            }
            if (!written.emplace(tableName, rowLocale, key).second) continue;
            text += quoted(entryName(rowLocale, key)) + " =";
            for (int32_t v = 0; v < width; ++v) {
                // Wildcards often, so that rows match.
                const int32_t value =
                    fdp.ConsumeIntegralInRange<int>(0, 2) == 0 ? -1 : pickInt(fdp);
                text += (v == 0 ? " " : ", ") + renderValue(fdp, value);
            }
            text += "\n";
        }
    }
    return text;
}

ReferenceConfig loadAndCheck(std::string_view text, std::string_view sourceName) {
    const ReferenceConfig ref = parseReferenceConfig(text);
    if (!hostconfig::loadText(kSentinelConfig, "sentinel.config").ok) fail("sentinel refused");
    const hostconfig::LoadResult result = hostconfig::loadText(text, sourceName);
    if (result.ok != ref.ok) {
        fail(std::string("store ") + (result.ok ? "accepted" : "refused (" + result.error() + ")") +
             ", reference " +
             (ref.ok ? "accepted" : "refused at line " + std::to_string(ref.errorLine)));
    }
    if (!ref.ok) {
        if (result.line != ref.errorLine || result.column < 1 || result.message.empty()) {
            fail("error position " + result.error() + ", reference line " +
                 std::to_string(ref.errorLine));
        }
        // A refused source changes nothing.
        if (GetKeyCount(kSentinelTable) != 1) fail("a refused load changed the tables in force");
        hostconfig::clear();
        return ref;
    }
    if (result.tableCount != static_cast<int32_t>(ref.tables.size()) ||
        result.entryCount != ref.entryCount()) {
        fail("load counts " + std::to_string(result.tableCount) + "/" +
             std::to_string(result.entryCount) + ", reference " +
             std::to_string(ref.tables.size()) + "/" + std::to_string(ref.entryCount()));
    }
    if (ref.tables.count(kSentinelTable) == 0 && GetKeyCount(kSentinelTable) != 0) {
        fail("a table of the previous source survived a load");
    }
    checkEntries(ref);
    return ref;
}

ReferenceConfig loadInputConfig(const SplitInput& input, std::string_view text) {
    constexpr char kExampleSource[] = "example.config";
    if (input.source != ConfigSource::Example) return loadAndCheck(text);
    static const ReferenceConfig sExample = loadAndCheck(exampleConfig(), kExampleSource);
    if (hostconfig::currentSource() != kExampleSource) {
        if (!hostconfig::loadText(exampleConfig(), kExampleSource).ok) fail("example refused");
    }
    return sExample;
}

}  // namespace custfuzz
