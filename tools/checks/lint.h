#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "inputs/device_profile.h"

namespace hostconfig::detail {
struct Config;
}

// Checks a "CameraHWConfiguration.config" against what the policies' table readers need: row
// widths, row keys, scenario ranges, seamless codes, table names and rows that can never match.
namespace custsim {

struct LintFinding {
    enum class Severity { Warning, Error };
    Severity severity = Severity::Error;
    uint32_t line = 0;
    std::string where;  // "[Table] Locale[key]" or "[Table]"
    std::string message;
    const char* code = "";  // stable, one per kind of finding (below; docs/simulator.md lists them)
};

// The codes of lint's findings.
inline constexpr char kLintNoTables[] = "no-tables";
inline constexpr char kLintUnknownTable[] = "unknown-table";
inline constexpr char kLintKeyNeverRead[] = "key-never-read";
inline constexpr char kLintRowMissing[] = "row-missing";
inline constexpr char kLintLocaleNotRead[] = "locale-not-read";
inline constexpr char kLintNoRowZero[] = "no-row-zero";
inline constexpr char kLintGroupIgnored[] = "group-ignored";
inline constexpr char kLintRowWidth[] = "row-width";
inline constexpr char kLintRowNeverMatches[] = "row-never-matches";
// Rows the policy's own order or conditions never reach (lintCodeNeverMatches tells them).
inline constexpr char kLintThermalPreEmpted[] = "thermal-pre-empted";
inline constexpr char kLintThirdPartyOperationMode[] = "third-party-operation-mode";
inline constexpr char kLintVideoFlagValue[] = "video-flag-value";
inline constexpr char kLintOutsideCallerValue[] = "outside-caller-value";
inline constexpr char kLintCameraModeClassValue[] = "camera-mode-class-value";
inline constexpr char kLintFeatureMaskBits[] = "feature-mask-bits";
inline constexpr char kLintScenarioOutOfRange[] = "scenario-out-of-range";
inline constexpr char kLintSeamlessCode[] = "seamless-code";
inline constexpr char kLintSensorNotOnDevice[] = "sensor-not-on-device";
inline constexpr char kLintScenarioNotAMode[] = "scenario-not-a-mode";
// Not lint's own: the file could not be read for lint.
inline constexpr char kLintUnreadable[] = "unreadable";

// Whether a finding of this code says that its row can never match.
bool lintCodeNeverMatches(std::string_view code);

struct LintResult {
    bool loaded = false;
    // When the file could not be read or parsed: one "file:line:column: message" line per problem
    // (every problem of the file, up to the store's cap), joined with newlines.
    std::string loadError;
    std::vector<LintFinding> findings;  // ordered by line
    int32_t tableCount = 0;             // of a loaded file
    int32_t rowCount = 0;
    int32_t errorCount() const;
    int32_t warningCount() const;
};

// With a device, also checks the tables against it: scenarios its sensors have no mode for,
// sensor indices it does not have.
LintResult lintConfigFile(const std::string& path, const DeviceProfile* device = nullptr);
LintResult lintConfigText(const std::string& text, const std::string& sourceName,
                          const DeviceProfile* device = nullptr);
// The same for a configuration already parsed (hostconfig::detail::parseConfig), which is not
// parsed again.
LintResult lintParsedConfig(const hostconfig::detail::Config& config,
                            const DeviceProfile* device = nullptr);

// "file:line: error: [Table] Locale[key]: message".
std::string formatFinding(const std::string& file, const LintFinding& finding);
// "file: 7 tables, 42 rows: no findings", or "...: 2 errors, 1 warning".
std::string formatSummary(const std::string& file, const LintResult& result);

}  // namespace custsim
