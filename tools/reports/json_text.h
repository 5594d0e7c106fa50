#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/MSize.h"

// Pieces of the JSON documents of the workflow commands (diff, check, coverage): strings quoted
// and escaped, sizes as [w, h], absent values as null.
namespace custsim {

std::string jsonQuoted(const std::string& text);
std::string jsonSizeArray(MSize size);
std::string jsonOptional(const std::optional<uint32_t>& value);

}  // namespace custsim
