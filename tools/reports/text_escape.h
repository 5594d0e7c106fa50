#pragma once

#include <string>
#include <string_view>

// The one escaping of text that comes from inputs (device, sensor, table, locale, application and
// file names) on its way to a terminal or a text report: a name anyone can edit must not move the
// cursor, clear the screen or reverse the line around it.
namespace custsim {

// Control characters, bidi overrides and invalid UTF-8 shown escaped.
std::string terminalText(std::string_view text);

}  // namespace custsim
