#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/MSize.h"

// Pieces of the JSON documents (simulate, sweep, diff, check, coverage): sizes as [w, h],
// absent values as null, strings quoted.
namespace custsim {

// A JSON string literal: quoted, with the characters JSON reserves escaped.
std::string jsonString(const std::string& text);

std::string jsonSizeArray(MSize size);
std::string jsonOptional(const std::optional<uint32_t>& value);

}  // namespace custsim
