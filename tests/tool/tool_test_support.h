#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "commands/cli.h"

// Runs the simulator's command line in-process, and writes input files into a scratch directory
// that lives as long as the object.
class ToolRun {
public:
    ToolRun() {
        char pattern[] = "/tmp/custpolicy-tool-XXXXXX";
        const char* dir = mkdtemp(pattern);
        mDir = dir != nullptr ? dir : "/tmp";
    }
    ~ToolRun() {
        for (const std::string& file : mFiles) unlink(file.c_str());
        rmdir(mDir.c_str());
    }
    ToolRun(const ToolRun&) = delete;
    ToolRun& operator=(const ToolRun&) = delete;

    // Writes `text` to a file of that name in the scratch directory and returns its path.
    std::string write(const std::string& name, const std::string& text) {
        const std::string path = mDir + "/" + name;
        std::ofstream(path, std::ios::binary) << text;
        mFiles.push_back(path);
        return path;
    }
    std::string path(const std::string& name) const { return mDir + "/" + name; }

    int run(const std::vector<std::string>& args) {
        std::ostringstream out, err;
        const int code = custsim::runCli(args, out, err);
        stdoutText = out.str();
        stderrText = err.str();
        return code;
    }

    std::string stdoutText;
    std::string stderrText;

private:
    std::string mDir;
    std::vector<std::string> mFiles;
};

// A small valid device: sensor 0 on the legacy policies, sensor 1 on the new ones, no tables.
inline const char kMinimalDevice[] = R"(name = "tiny"

[[sensor]]
index = 0
pixel_array = [4000, 3000]
[sensor.capability]
new_setting_policy = false
new_rrzo_policy = false
[[sensor.mode]]
scenario = 0
fps = 30
size = [4000, 3000]

[[sensor]]
index = 1
pixel_array = [4000, 3000]
[sensor.capability]
new_setting_policy = true
new_rrzo_policy = true
[[sensor.mode]]
scenario = 0
fps = 30
size = [2000, 1500]
[[sensor.mode]]
scenario = 1
fps = 60
size = [1920, 1080]
)";

// A small valid session.
inline const char kMinimalSession[] = R"(description = "preview"

[app]
system = true

[[stream]]
format = "IMPLEMENTATION_DEFINED"
usage = "HW_TEXTURE"
size = [1920, 1080]
)";
