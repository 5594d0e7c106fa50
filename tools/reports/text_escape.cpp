#include "text_escape.h"

#include "host_config_parser.h"

namespace custsim {

std::string terminalText(std::string_view text) { return hostconfig::detail::printableName(text); }

}  // namespace custsim
