#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

// Numbers as the reports print them.
namespace custsim {

// "0x801": seamless flags and other bit sets, as the configuration file writes them.
inline std::string hexText(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%x", value);
    return text;
}

}  // namespace custsim
