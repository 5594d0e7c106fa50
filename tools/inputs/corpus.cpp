#include "inputs/corpus.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace custsim {

namespace {

constexpr char kSessionSuffix[] = ".toml";
constexpr size_t kSessionSuffixLength = sizeof(kSessionSuffix) - 1;

bool isSessionName(const std::string& name) {
    return name.size() > kSessionSuffixLength &&
           name.compare(name.size() - kSessionSuffixLength, kSessionSuffixLength, kSessionSuffix) ==
               0;
}

std::string joined(const std::string& directory, const std::string& name) {
    if (directory.empty() || directory.back() == '/') return directory + name;
    return directory + "/" + name;
}

// False when the directory cannot be listed: its sessions must not silently drop out of a run.
bool sortedEntries(const std::string& directory, std::vector<std::string>& names) {
    DIR* dir = opendir(directory.c_str());
    if (dir == nullptr) return false;
    while (const dirent* entry = readdir(dir)) {
        // Hidden entries (".", "..", editor and VCS files) are no sessions.
        if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    return true;
}

void collect(const std::string& directory, const std::string& display,
             std::vector<SessionInput>& out, Diagnostics& diagnostics) {
    std::vector<std::string> names;
    if (!sortedEntries(directory, names)) {
        diagnostics.push_back(
            {display, 0, 0, "", std::string("cannot read the directory: ") + std::strerror(errno)});
        return;
    }
    for (const std::string& name : names) {
        const std::string path = joined(directory, name);
        struct stat linkInfo {};
        if (lstat(path.c_str(), &linkInfo) == 0 && S_ISDIR(linkInfo.st_mode)) {
            collect(path, joined(display, name), out, diagnostics);
            continue;
        }
        // Every other entry named *.toml is a session: one that is not a readable regular file
        // (a dangling link, a pipe, a socket, a name too long) is refused by the session reader in
        // its place, never skipped. A link to a directory is not followed.
        if (isSessionName(name)) out.push_back({path, joined(display, name)});
    }
}

}  // namespace

std::vector<SessionInput> sessionsInDirectory(const std::string& directory,
                                              const std::string& displayPrefix,
                                              Diagnostics& diagnostics) {
    std::vector<SessionInput> sessions;
    collect(directory, displayPrefix, sessions, diagnostics);
    return sessions;
}

std::vector<SessionInput> expandSessionArguments(const std::vector<std::string>& arguments,
                                                 Diagnostics& diagnostics) {
    std::vector<SessionInput> sessions;
    for (const std::string& argument : arguments) {
        // Anything but a directory is a session file; one that cannot be read is reported by the
        // session reader, in its place among the sessions.
        struct stat info {};
        if (stat(argument.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
            sessions.push_back({argument, argument});
            continue;
        }
        const size_t problems = diagnostics.size();
        const std::vector<SessionInput> found =
            sessionsInDirectory(argument, argument, diagnostics);
        if (found.empty() && diagnostics.size() == problems) {
            diagnostics.push_back(
                {argument, 0, 0, "", "no sessions (*.toml) in this directory or below it"});
        }
        sessions.insert(sessions.end(), found.begin(), found.end());
    }
    return sessions;
}

}  // namespace custsim
