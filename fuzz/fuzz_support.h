#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "reference_config.h"

// What the fuzz targets share: how an input is split into a configuration and the bytes that
// drive the rest, values that sit on the edges the policies test, and a generator of small
// configurations in the text format.
namespace custfuzz {

// An input is a configuration text, a NUL byte, then the bytes that drive the target:
//  - no NUL at all: the example device configuration, and the whole input drives the target;
//  - a NUL first: a configuration generated from the driving bytes;
//  - otherwise: the text before the first NUL is the configuration.
// Configuration texts never need a NUL (the format refuses one outside comments), so the split
// loses nothing that matters.
enum class ConfigSource { Example, Generated, Text };
struct SplitInput {
    ConfigSource source = ConfigSource::Example;
    std::string_view configText;
    const uint8_t* driveData = nullptr;
    size_t driveSize = 0;
};
SplitInput splitInput(const uint8_t* data, size_t size);

// The example device configuration, read once from the repository.
const std::string& exampleConfig();

// A signed 32-bit value, mostly from the values the policies compare against: wildcards, sizes,
// ratios, capture and operation modes, and the edges of the type.
int32_t pickInt(FuzzedDataProvider& fdp);
// A size side, including 0, negatives and the extremes.
int32_t pickSide(FuzzedDataProvider& fdp);
// A float, including 0, 1, NaN, the infinities and the extremes.
float pickFloat(FuzzedDataProvider& fdp);
// A string: one of `pool`, or a short arbitrary one.
std::string pickName(FuzzedDataProvider& fdp, const std::vector<std::string>& pool);

// The tables the policies read and the width each expects.
struct PolicyTable {
    const char* name;
    int32_t width;
};
const std::vector<PolicyTable>& policyTables();
// Locale names with a fixed meaning to the policies ("Mode", "AllCamApp", ...).
const std::vector<std::string>& fixedLocales();

// A small configuration in the text format: mostly rows of the policy tables with their own widths,
// under locales of `localePool`, keyed 0, 1, 2, ...; sometimes other widths, keys, locales and
// tables. Names are written quoted, values in decimal or hex, so that every shape of name survives.
std::string generateConfig(FuzzedDataProvider& fdp, const std::vector<std::string>& localePool);

// Loads `text` into the host store and checks that the store and the reference reading agree on
// acceptance and, when accepted, on every table, locale, entry and value. Traps on disagreement.
// Returns the reference reading; a refused text leaves the store empty.
ReferenceConfig loadAndCheck(std::string_view text, std::string_view sourceName = "fuzz.config");

// Loads the configuration of an input: the example (checked on first use, then kept in force while
// no other text replaces it), a generated one, or the input's own text.
ReferenceConfig loadInputConfig(const SplitInput& input, std::string_view text);

// Stops the process with a message: the fuzzer reports it as a crash with this input.
[[noreturn]] void fail(const std::string& message);

}  // namespace custfuzz
