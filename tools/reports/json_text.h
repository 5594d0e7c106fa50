#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/MSize.h"

// Pieces of the JSON documents of the workflow commands (diff, check, coverage): sizes as [w, h],
// absent values as null. Strings are quoted by report.h's jsonString.
namespace custsim {

std::string jsonSizeArray(MSize size);
std::string jsonOptional(const std::optional<uint32_t>& value);

}  // namespace custsim
