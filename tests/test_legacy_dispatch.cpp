// The legacy policy end to end through the adaptor: decision paths and their order, the table
// path, the third-party path with its manager record and table chain, the engineering override.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "test_support.h"

namespace cptest {
namespace {

constexpr char kTag[] = "CustSettingPolicyLegacy";
constexpr int32_t kNormalScenario = 12;  // what the feature-chip service answers
constexpr int32_t kNoManager = -2;       // the capability manager is not supported
constexpr uint32_t kTraversalOperationMode = 0x40009007;

// Tables that all match a session on sensor 0: the system table names 1 (seamless 5), the common
// table 2 and the application table 5.
constexpr char kSystemRow[] =
    "[SystemCamSensorSettingMap]\nMode[0] = -1, -1, -1, -1, -1, -1, -1, 1, 5\n";
constexpr char kCommonRow[] = "[CommonSensorSettingMap]\nMode[0] = -1, -1, 2\n";
constexpr char kThirdAppRow[] =
    "[ThirdCamSensorSettingMap]\nAllCamApp[0] = -1, -1, -1, -1, -1, -1, 0, 5\n";
constexpr char kSevenWildcards[] = " = -1, -1, -1, -1, -1, -1, -1, ";

enum class Caller { SystemCamera, ThirdParty, ThirdPartySdk };

class LegacyDispatch : public LegacyTest {
protected:
    void SetUp() override {
        LegacyTest::SetUp();
        hostplatform::state().featureChip = [](const CustTransMsgData*, CustTransMsgData* reply) {
            *static_cast<int32_t*>(reply->pData) = kNormalScenario;
        };
    }
    static void setCaller(Caller caller, int32_t manager = kNoManager) {
        hostplatform::CustomerFacts& customer = hostplatform::state().customer;
        customer.systemCam = caller == Caller::SystemCamera;
        customer.thirdPartyCam = caller != Caller::SystemCamera;
        customer.sdkCam = caller == Caller::ThirdPartySdk;
        hostplatform::state().thirdCap = {manager != kNoManager, manager};
    }
};

// The scenario an outcome carries: the host helper knows scenarios 0 to 20 and fills the setting
// for them; -1 for an untouched setting.
int32_t chosen(const Outcome& o) {
    return o.setting.sensorMode == kSentinel ? -1 : static_cast<int32_t>(o.setting.sensorMode);
}

// The tables asked, in order, by short name: "System Common App Activity Thermal".
std::string pathsAsked() {
    const std::pair<const char*, const char*> kShort[] = {
        {"SystemCamSensorSettingMap", "System"},
        {"CommonSensorSettingMap", "Common"},
        {"ThirdCamSensorSettingMap", "App"},
        {"ThirdCamSensorSettingMapByActivity", "Activity"},
        {"ThirdCamSensorSettingMapByThermal", "Thermal"},
    };
    Strings asked;
    for (const hostconfig::StoreCall& call : hostconfig::calls()) {
        for (const auto& name : kShort) {
            if (call.table != name.first) continue;
            if (asked.empty() || asked.back() != name.second) asked.push_back(name.second);
        }
    }
    return joined(asked);
}

// Third-party rows of the chain: by name, by activity (API value `api`), by temperature.
std::string byName(int32_t scenario) {
    return "[ThirdCamSensorSettingMap]\nAllCamApp[0]" + std::string(kSevenWildcards) +
           std::to_string(scenario) + "\n";
}
std::string byActivity(int32_t scenario, int32_t api = -1) {
    return "[ThirdCamSensorSettingMapByActivity]\ncom.app/.Main[0] = -1, " + std::to_string(api) +
           ", -1, -1, -1, -1, -1, -1, " + std::to_string(scenario) + "\n";
}
std::string byThermal(int32_t scenario) {
    return "[ThirdCamSensorSettingMapByThermal]\ncom.app/.Main[0] = -1, 40, " +
           std::to_string(scenario) + "\n";
}

using C = hostplatform::CustomerFacts&;
using S = Session&;
void none(C, S) {}
void highSpeed(C, S s) { s.appConfig->operationMode = 1; }
void highSpeedSensor1(C, S s) {
    s.appConfig->operationMode = 1;
    s.sensorIdx = 1;
}
// An activity with rows and a temperature of 45: the whole third-party chain is asked.
void chain(C f, S s) {
    f.activityName = "com.app/.Main";
    s.set(temperatureEntry(45));
}
void chainApi2(C f, S s) {
    chain(f, s);
    s.set(IEntry::of<int32_t>(kTagApiValue, {2}));
}

// Which paths decide in which order, what each hands on, and what the manager, the tables and
// the normal matching were asked: the golden file holds, per case, the result, the scenario
// handed to the sensor-info helper, the setting's scenario and flags, the tables asked, the
// number of manager, feature-chip and seamless calls, and the policy's log lines.
TEST_F(LegacyDispatch, DecisionPaths) {
    const std::string kAll = std::string(kSystemRow) + kCommonRow + kThirdAppRow;
    const std::string kCommonApp = std::string(kCommonRow) + kThirdAppRow;
    const std::string kCommonOther = "[CommonSensorSettingMap]\nMode[0] = 0, -1, 2\n";
    const std::string kSystem300 =
        "[SystemCamSensorSettingMap]\nMode[0] = -1, -1, -1, -1, -1, -1, -1, 300, 5\n";
    const std::string kSystemMinus2 =
        "[SystemCamSensorSettingMap]\nMode[0] = -1, -1, -1, -1, -1, -1, -1, -2, 0\n";
    struct Case {
        bool privateSelection;
        Caller caller;
        int32_t manager;  // the capability manager's answer
        std::string tables;
        void (*arrange)(hostplatform::CustomerFacts&, Session&);
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {false, Caller::ThirdParty, kNoManager, kAll, none, "ordinary sensor: the third-party path decides before any other table is read"},
        {true, Caller::ThirdPartySdk, 4, kAll, none, "private sensor: the table path decides, the third-party path is never asked"},
        {true, Caller::ThirdParty, kNoManager, kThirdAppRow, none, "private sensor: tables without a match, then the third-party tables"},
        {true, Caller::ThirdParty, 4, "", none, "private sensor: tables without a match, then the manager"},
        {true, Caller::SystemCamera, kNoManager, "", none, "private sensor: nothing in the tables, the normal matching decides"},
        {false, Caller::SystemCamera, kNoManager, "", none, "ordinary sensor: never the normal matching, though it would find a scenario"},
        {false, Caller::SystemCamera, 4, kAll, none, "ordinary sensor, own camera: the third-party path declines, the tables decide"},
        {false, Caller::ThirdParty, kNoManager, std::string(kCommonRow) + kSystemRow, none, "ordinary sensor: third-party tables without a match, then the common table"},
        {false, Caller::ThirdParty, 300, kCommonApp, none, "manager answer 300 is not checked on this path"},
        {false, Caller::ThirdParty, 0, kCommonApp, none, "manager answers scenario 0"},
        {false, Caller::ThirdParty, -1, kCommonApp, none, "manager answers -1: no decision, the table path decides"},
        {false, Caller::ThirdParty, kNoManager, std::string(kSystemRow) + kCommonOther, highSpeed, "high speed, outside app: the system table is skipped, the common one has no row for mode 1"},
        {false, Caller::ThirdParty, kNoManager, std::string(kSystemRow) + kCommonRow, highSpeed, "high speed, outside app: the common table decides, the flags stay"},
        {false, Caller::ThirdPartySdk, kNoManager, std::string(kSystemRow) + kCommonRow, highSpeed, "high speed, SDK caller: treated as the device's own camera"},
        {false, Caller::SystemCamera, kNoManager, kSystem300 + kCommonOther, highSpeed, "system answer 300 comes back from the common table and is refused"},
        {false, Caller::SystemCamera, kNoManager, kSystem300 + kCommonRow, highSpeedSensor1, "system answer 300 on sensor 1, the common table decides"},
        {false, Caller::SystemCamera, kNoManager, kSystemMinus2, highSpeed, "a negative system answer is refused too"},
        {false, Caller::ThirdParty, 4, kThirdAppRow, [](C f, S) { f.systemCam = true; }, "not third party: own camera"},
        {false, Caller::ThirdParty, 4, kThirdAppRow, [](C f, S) { f.engineerCam = true; }, "not third party: engineer camera"},
        {false, Caller::ThirdParty, 4, kThirdAppRow, [](C f, S) { f.engineerMode = true; }, "not third party: engineer mode"},
        {false, Caller::ThirdParty, 4, kThirdAppRow, highSpeed, "not third party: high-speed session"},
        {false, Caller::ThirdParty, kNoManager, byName(3), chain, "chain: the name's answer stands"},
        {false, Caller::ThirdParty, kNoManager, byName(3) + byActivity(5), chain, "chain: the activity overrides the name"},
        {false, Caller::ThirdParty, kNoManager, byName(3) + byActivity(5) + byThermal(7), chain, "chain: the temperature overrides both"},
        {false, Caller::ThirdParty, kNoManager, byThermal(7), chain, "chain: the temperature alone"},
        {false, Caller::ThirdParty, kNoManager, byActivity(5), chain, "chain: the activity alone"},
        {false, Caller::ThirdParty, kNoManager, "", chain, "chain: nothing decides, false"},
        {false, Caller::ThirdParty, kNoManager, byActivity(6, 2), chainApi2, "chain: the session's API value reaches the activity table"},
        {false, Caller::ThirdParty, kNoManager, byActivity(6, 2), chain, "chain: an absent API value (-1) does not match the row's 2"},
    };
    // clang-format on
    std::string golden;
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        hostplatform::sensor(0).privateSelectSensorMode = c.privateSelection;
        setCaller(c.caller, c.manager);
        c.arrange(hostplatform::state().customer, mSession);
        if (!c.tables.empty()) loadTables(c.tables);
        const Outcome o = decide(mSession);
        const auto& recorded = hostplatform::state().recorded;
        char summary[160];
        std::snprintf(summary, sizeof(summary),
                      "-> result %d, parsed %d, setting %d, flags 0x%x; manager %zu, normal %zu, "
                      "seamless %zu; asked: ",
                      o.result, parsedScenario(), chosen(o), o.outValue, recorded.thirdCap.size(),
                      recorded.featureChip.size(), recorded.seamless.size());
        golden += std::string("## ") + c.why + "\n" + summary + pathsAsked() + "\n";
        for (const std::string& line : logLines(kTag)) golden += "  " + line + "\n";
    }
    expectGolden("legacy-decision-paths", golden);
}

TEST_F(LegacyDispatch, ManagerReceivesTheRecord) {
    struct Case {
        bool runGsi;
        std::vector<IEntry> session;  // session parameters
        std::string camName;
        int32_t api, temperature;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {false, {IEntry::of<int32_t>(kTagApiValue, {2}), temperatureEntry(45)}, "com.app", 2, 45,
         "application's own name, API value and temperature"},
        {true, {}, "android.camera.cts", -1, -1, "GSI replaces a known name; no session facts"},
        {false, {IEntry::of<int64_t>(kTagApiValue, {2}), temperatureEntry(45, 43)}, "com.app", -1,
         -1, "API value of 64-bit items, temperature block one byte short: unknown"},
    };
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        setCaller(Caller::ThirdParty, 4);
        hostplatform::CustomerFacts& customer = hostplatform::state().customer;
        customer.curCamName = "com.app";
        customer.activityName = "com.app/.Main";
        customer.capMode = 0x8001;
        customer.runGsi = c.runGsi;
        mSession.streamInfo->maxStreamSize = MSize(4000, 2250);
        mSession.streamInfo->maxYuvSize = MSize(1920, 1080);
        mSession.streamInfo->hasVideoConsumer = true;
        for (const IEntry& entry : c.session) mSession.set(entry);
        loadTables(std::string(kSystemRow) + kCommonRow + kThirdAppRow);

        const Outcome outcome = decide(mSession);
        EXPECT_TRUE(outcome.result);
        EXPECT_EQ(chosen(outcome), 4);
        EXPECT_TRUE(hostconfig::calls().empty()) << "the manager decides without any table";
        ASSERT_EQ(hostplatform::state().recorded.thirdCap.size(), 1u);
        const hostplatform::ThirdCapCall& r = hostplatform::state().recorded.thirdCap.front();
        EXPECT_EQ(
            std::vector<int32_t>({r.sensorIdx, r.capMode, r.maxStreamWidth, r.maxStreamHeight,
                                  r.maxYuvWidth, r.maxYuvHeight, r.reserved, r.isVideo, r.apiValue,
                                  r.temperature}),
            std::vector<int32_t>({0, 0x8001, 4000, 2250, 1920, 1080, 0, 1, c.api, c.temperature}));
        EXPECT_EQ(r.camName, c.camName);
        EXPECT_EQ(r.activityName, "com.app/.Main");
        // The padding after the sensor index and after the temperature reaches the manager zeroed.
        ASSERT_EQ(r.bytes.size(), sizeof(ThirdSensormodeInputParam));
        const std::vector<uint8_t> zeros(4, 0);
        EXPECT_EQ(std::vector<uint8_t>(r.bytes.begin() + 4, r.bytes.begin() + 8), zeros);
        EXPECT_EQ(std::vector<uint8_t>(r.bytes.end() - 4, r.bytes.end()), zeros);
#if defined(_LIBCPP_VERSION)
        // The manager's own layout: eleven integers from offset 56, the stream size first.
        int32_t tail[10];
        std::memcpy(tail, r.bytes.data() + 56, sizeof(tail));
        EXPECT_EQ(
            std::vector<int32_t>(tail, tail + 10),
            std::vector<int32_t>({0x8001, 4000, 2250, 1920, 1080, 0, 1, c.api, c.temperature, 0}));
#endif
        EXPECT_EQ(
            logCount(kTag,
                     "I/[selectSensorSetting4ThirdCase] runGSI, curCamName:android.camera.cts"),
            c.runGsi ? 1 : 0);
    }
}

TEST_F(LegacyDispatch, EngineeringOverride) {
    using M = NSCam::IMetadata&;  // the static metadata of sensor 1
    using N = hostplatform::SensorFacts&;
    using S = Session&;
    struct Case {
        bool engineerCam, engineerMode;
        uint32_t operationMode;
        void (*arrange)(NSCam::IMetadata&, hostplatform::SensorFacts&, Session&);
        int tag;  // the sensor mode asked, as a byte item; -1: absent
        int32_t expected;
        const char* why;
    };
    const auto zero = [](M m, N, S) { m.update(IEntry::of<int32_t>(kTagTraversalMode, {0})); };
    const auto one = [](M m, N, S) { m.update(IEntry::of<int32_t>(kTagTraversalMode, {1})); };
    // clang-format off
    const Case kCases[] = {
        {false, true, kTraversalOperationMode, zero, 3, 16, "short-cut to 16, whatever the tag"},
        {true, false, kTraversalOperationMode, one, 3, 3, "static item 1: the tag"},
        {false, true, 0, zero, 3, 3, "another operation mode: the tag"},
        {true, false, 0, one, 200, 200, "200 is handed on unchanged"},
        {false, true, kTraversalOperationMode,
         [](M m, N, S) { m.update(IEntry(kTagTraversalMode)); }, 5, 5,
         "empty static entry: like a nonzero item"},
        {false, true, kTraversalOperationMode, [](M, N, S) {}, 5, 5,
         "absent static entry: like a nonzero item"},
        {false, true, kTraversalOperationMode,
         [](M m, N, S) { m.update(IEntry::of<uint8_t>(kTagTraversalMode, {0})); }, 5, 5,
         "a static entry shorter than one item: like a nonzero item"},
        {false, true, kTraversalOperationMode,
         [](M m, N, S) { m.update(IEntry::of<uint8_t>(kTagTraversalMode, {0, 0, 0, 0})); }, 5, 16,
         "four zero bytes hold a zero item, whatever the item type"},
        {false, true, kTraversalOperationMode, [](M, N n, S) { n.hasMetadataProvider = false; }, 5,
         5, "no metadata provider: like a nonzero item"},
        {false, true, 0, zero, -1, -1, "tag absent: error"},
        {false, true, 0,
         [](M, N, S s) { s.set(IEntry::of<int32_t>(kTagEngineerSensorModeSel, {5})); }, -1, -1,
         "a sensor mode of 32-bit items reads as absent"},
        {false, false, kTraversalOperationMode, zero, 3, -1, "no engineering camera or mode"},
    };
    // clang-format on
    std::string golden;
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        hostplatform::state().customer.engineerCam = c.engineerCam;
        hostplatform::state().customer.engineerMode = c.engineerMode;
        mSession.appConfig->operationMode = c.operationMode;
        c.arrange(hostplatform::sensor(1).staticMetadata, hostplatform::sensor(1), mSession);
        if (c.tag != -1) {
            mSession.set(IEntry::of<uint8_t>(kTagEngineerSensorModeSel, {uint8_t(c.tag)}));
        }
        SensorSetting setting = sentinelSetting();
        const bool result =
            mPolicy.selectSensorSetting4MipiTraversal(mSession.appConfig, setting, 1);
        EXPECT_EQ(result, c.expected != -1);
        EXPECT_EQ(parsedScenario(), c.expected);
        const bool engineering = c.engineerCam || c.engineerMode;
        EXPECT_EQ(hostplatform::state().recorded.staticMetadataQueries,
                  engineering ? std::vector<int32_t>{1} : std::vector<int32_t>{});
        if (engineering && c.tag == -1) {  // the device's own line number for this error
            EXPECT_NE(joined(logLines(kTag, true)).find("{#146:"), std::string::npos);
        }
        golden += std::string("## ") + c.why + "\n-> " + std::to_string(parsedScenario()) + "\n";
        for (const std::string& line : logLines(kTag)) golden += "  " + line + "\n";
    }
    expectGolden("legacy-engineering", golden);
}

TEST_F(LegacyDispatch, MissingHandlesDecideNothing) {
    setCaller(Caller::ThirdParty, 4);
    hostplatform::state().customer.engineerMode = true;
    loadTables(std::string(kSystemRow) + kCommonRow + kThirdAppRow);
    SensorSetting setting = sentinelSetting();
    unsigned int flags = kSentinel;
    CustSettingAlgoAdaptor adaptor(0);
    EXPECT_FALSE(adaptor.selectSensorSetting(nullptr, mSession.streamInfo, setting, 0, flags, {},
                                             1.0f, 2.0f, 0));
    EXPECT_FALSE(adaptor.selectSensorSetting(mSession.appConfig, nullptr, setting, 0, flags, {},
                                             1.0f, 2.0f, 0));
    EXPECT_FALSE(mPolicy.selectSensorSetting(nullptr, mSession.streamInfo, setting, 0, flags));
    EXPECT_FALSE(mPolicy.selectSensorSetting4ThirdCase(nullptr, mSession.streamInfo, setting, 0));
    EXPECT_FALSE(mPolicy.selectSensorSetting4MipiTraversal(nullptr, setting, 0));
    EXPECT_EQ(setting.sensorMode, kSentinel);
    EXPECT_EQ(flags, kSentinel);
    EXPECT_TRUE(hostconfig::calls().empty());

    // Without stream information the manager sees zero sizes and no video.
    hostplatform::state().customer.engineerMode = false;
    EXPECT_TRUE(mPolicy.selectSensorSetting4ThirdCase(mSession.appConfig, nullptr, setting, 0));
    ASSERT_EQ(hostplatform::state().recorded.thirdCap.size(), 1u);
    const hostplatform::ThirdCapCall& r = hostplatform::state().recorded.thirdCap.front();
    EXPECT_EQ(std::vector<int32_t>(
                  {r.maxStreamWidth, r.maxStreamHeight, r.maxYuvWidth, r.maxYuvHeight, r.isVideo}),
              std::vector<int32_t>(5, 0));

    // Nor do the tables: ratio 0, which a ratio floor of 0 does not let through.
    hostplatform::state().thirdCap = {false, -1};
    loadTables("[ThirdCamSensorSettingMap]\nAllCamApp[0] = -1, -1, -1, 0, -1, -1, 0, 7\n");
    EXPECT_FALSE(mPolicy.selectSensorSetting4ThirdCase(mSession.appConfig, nullptr, setting, 0));

    for (const auto& [scenario, valid] :
         {std::pair{0, true}, {255, true}, {256, false}, {-1, false}}) {
        EXPECT_EQ(mPolicy.isValidScenarioId(scenario), valid) << scenario;
    }
}

}  // namespace
}  // namespace cptest
