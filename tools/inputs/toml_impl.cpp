// The one translation unit that compiles toml++'s implementation; the others use its declarations
// only, which keeps the tool's build short.
#define TOML_IMPLEMENTATION
#include <toml++/toml.h>
