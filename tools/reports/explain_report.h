#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "checks/explain.h"

// The explain command's reports: per sensor, the rows that failed on one column first, then the
// paths the setting call took, every table and group searched with every row read, and the
// self-check against the store's record.
namespace custsim {

// One sensor's trace with what the run decided, as the report heads it.
struct ExplainedSensor {
    int32_t sensorIdx = 0;
    std::string sensorName;
    bool decided = false;
    std::optional<int32_t> scenario;  // the scenario named, when the call decided
    // False when the scenario named is no mode of the sensor: the call answered true, but the
    // SensorSetting was left as it was, as every other command reports it.
    bool filled = true;
    std::string decidedBy;            // the row or message that decided; "" for none
    // What the simulated services were asked and answered (the feature chip's selection inputs
    // and reasoning, the capability manager), in call order.
    std::vector<std::string> serviceNotes;
    ExplainTrace trace;
};

struct ExplainDocument {
    std::string session;     // the session file as named on the command line
    std::string configFile;  // the configuration file as the report cites it
    std::vector<ExplainedSensor> sensors;
};

void writeExplainText(std::ostream& out, const ExplainDocument& document);
void writeExplainJson(std::ostream& out, const ExplainDocument& document);

// The trace's tables and rows, indented under a sensor of another report (simulate --trace).
void writeTraceText(std::ostream& out, const ExplainTrace& trace, const std::string& configFile,
                    const std::string& indent);

// The facts the legacy tables were matched against, in words, each with where it comes from: a
// few lines for the simulate text report.
std::vector<std::string> factsInWords(const MatchFacts& facts);
// The application facts of MatchFacts as JSON members, each led by ", ", for the simulate JSON
// report's `facts` object.
std::string jsonApplicationFacts(const MatchFacts& facts);

}  // namespace custsim
