#pragma once

#include <string>
#include <vector>

#include "inputs/toml_input.h"

// A corpus of sessions: the SESSION|DIR arguments of the commands that run sessions, expanded into
// session files. A file stands for itself; a directory for every "*.toml" file below it, at any
// depth, each directory's entries taken in byte order of their names. Names starting with '.' are
// skipped, and symbolic links to directories are not followed (a link loop cannot hang a run).
namespace custsim {

// A session file as the commands open and name it.
struct SessionInput {
    std::string path;     // to open
    std::string display;  // to print: the argument, or the directory argument joined with the path
                          // below it
};

// Expands the arguments in order. A directory without any session is a diagnostic (the corpus is
// then not to be run); any other argument is taken as a session file, to be read as such.
std::vector<SessionInput> expandSessionArguments(const std::vector<std::string>& arguments,
                                                 Diagnostics& diagnostics);

// The session files below one directory, as the display names start with `displayPrefix`. A
// directory that cannot be listed is a diagnostic.
std::vector<SessionInput> sessionsInDirectory(const std::string& directory,
                                              const std::string& displayPrefix,
                                              Diagnostics& diagnostics);

}  // namespace custsim
