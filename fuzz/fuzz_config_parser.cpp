// Arbitrary bytes as a configuration text: the host store must accept exactly what the format
// allows, report the first bad line, leave the tables in force when it refuses, and answer every
// entry of an accepted text as written.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz_support.h"
#include "host_config_store.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    hostconfig::setRecording(false);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const custfuzz::ReferenceConfig ref = custfuzz::loadAndCheck(text);
    // Loading the same source again gives the same tables.
    if (ref.ok) {
        const hostconfig::LoadResult again = hostconfig::reload();
        if (!again.ok || again.entryCount != ref.entryCount()) custfuzz::fail("reload differs");
    }
    hostconfig::clear();
    return 0;
}
