#include <algorithm>

#include "commands.h"

namespace custsim {

namespace {

constexpr int32_t kDefaultDetailLevel = 5;
constexpr int32_t kMaxDetailLevel = 9;

}  // namespace

bool parseRunOptions(const std::vector<std::string>& args, RunOptions& options, std::ostream& err) {
    bool filesOnly = false;
    for (const std::string& arg : args) {
        if (filesOnly || arg.empty() || arg[0] != '-' || arg == "-") {
            options.files.push_back(arg);
            continue;
        }
        if (arg == "--") {
            filesOnly = true;
        } else if (arg == "--json") {
            options.json = true;
        } else if (arg == "--strict") {
            options.strict = true;
        } else if (arg == "-h" || arg == "--help") {
            options.help = true;
        } else if (arg == "-v" || arg == "--verbose") {
            options.detailLevel = kDefaultDetailLevel;
        } else if (arg.rfind("-v", 0) == 0 || arg.rfind("--verbose=", 0) == 0) {
            const std::string level = arg.substr(arg[1] == 'v' ? 2 : 10);
            if (level.size() != 1 || level[0] < '0' || level[0] > '0' + kMaxDetailLevel) {
                err << "custpolicy: detail level must be a digit 0-9, got '" << level << "'\n";
                return false;
            }
            options.detailLevel = level[0] - '0';
        } else {
            err << "custpolicy: unknown option '" << arg << "' (see 'custpolicy help')\n";
            return false;
        }
    }
    return true;
}

void printDiagnostics(Diagnostics diagnostics, std::ostream& err) {
    std::vector<std::string> fileOrder;
    for (const Diagnostic& d : diagnostics) {
        if (std::find(fileOrder.begin(), fileOrder.end(), d.file) == fileOrder.end())
            fileOrder.push_back(d.file);
    }
    auto rank = [&fileOrder](const Diagnostic& d) {
        return std::find(fileOrder.begin(), fileOrder.end(), d.file) - fileOrder.begin();
    };
    std::stable_sort(diagnostics.begin(), diagnostics.end(),
                     [&](const Diagnostic& a, const Diagnostic& b) {
                         if (rank(a) != rank(b)) return rank(a) < rank(b);
                         if (a.line != b.line) return a.line < b.line;
                         return a.column < b.column;
                     });
    for (const Diagnostic& d : diagnostics) err << d.format() << '\n';
    err << "custpolicy: " << diagnostics.size() << " problem"
        << (diagnostics.size() == 1 ? "" : "s") << " in the inputs; nothing was run\n";
}

}  // namespace custsim
