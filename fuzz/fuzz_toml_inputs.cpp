// Arbitrary bytes as a device profile, a session and a sweep file: every reader must end in a
// value or a diagnostic with a position, never reach toml++'s assertions (built with them on),
// crash or leak.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host_config_store.h"
#include "inputs/device_profile.h"
#include "inputs/session_file.h"
#include "inputs/sweep_file.h"

namespace {

// Enough points to read every axis, few enough that a huge product is refused at once.
constexpr uint64_t kFuzzMaxPoints = 4096;

std::string gInputPath;
custsim::DeviceProfile gDevice;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    hostconfig::setRecording(false);
    char pattern[] = "/tmp/custpolicy-fuzz-toml-XXXXXX";
    const int fd = mkstemp(pattern);
    if (fd < 0) std::abort();
    close(fd);
    gInputPath = pattern;
    custsim::Diagnostics problems;
    gDevice = custsim::loadDeviceProfile(CUSTPOLICY_EXAMPLE_DEVICE, problems);
    if (!problems.empty()) std::abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The readers take files: the input is one.
    std::FILE* file = std::fopen(gInputPath.c_str(), "wb");
    if (file == nullptr) std::abort();
    std::fwrite(data, 1, size, file);
    std::fclose(file);
    custsim::Diagnostics problems;
    custsim::loadDeviceProfile(gInputPath, problems);
    custsim::loadSession(gInputPath, gDevice, problems);
    custsim::loadSweep(gInputPath, gDevice, kFuzzMaxPoints, problems);
    for (const custsim::Diagnostic& problem : problems) {
        if (problem.message.empty()) std::abort();  // every refusal says why
    }
    return 0;
}
