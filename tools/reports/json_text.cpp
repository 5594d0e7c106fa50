#include "json_text.h"

namespace custsim {

std::string jsonSizeArray(MSize size) {
    return "[" + std::to_string(size.w) + ", " + std::to_string(size.h) + "]";
}

std::string jsonOptional(const std::optional<uint32_t>& value) {
    return value ? std::to_string(*value) : std::string("null");
}

}  // namespace custsim
