#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The one escaping of text that comes from inputs (device, sensor, table, locale, application and
// file names) on its way to a terminal or a text report: a name anyone can edit must not move the
// cursor, clear the screen or reverse the line around it.
namespace custsim {

// `text` with every byte that could act on a terminal shown escaped, and nothing else changed:
//   - C0 controls (ESC, BEL, CR, LF, TAB, ...) and DEL as \xNN;
//   - bytes that are not well-formed UTF-8 as \xNN, one per byte;
//   - C1 controls (U+0080..U+009F) and the bidi controls (U+061C, U+200E, U+200F,
//     U+202A..U+202E, U+2066..U+2069) as \uNNNN.
// A backslash stays as it is: the escapes are for reading, not for reading back.
std::string terminalText(std::string_view text);

// The length of the well-formed UTF-8 sequence at text[at] (1 to 4) and its code point in `c`,
// or 0 when the bytes there are not one (ASCII included: callers handle it first; a stray
// continuation byte, an overlong form, a surrogate, a cut sequence).
size_t decodeUtf8(std::string_view text, size_t at, uint32_t& c);

}  // namespace custsim
