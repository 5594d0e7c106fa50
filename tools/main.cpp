#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "commands/cli.h"
#include "reports/file_output.h"

namespace {

// Standard streams the caller closed are held open on a file no write can reach: a file the run
// opens later (a page, a temporary file) must never become its standard output, and every
// write to a closed standard output fails, so that it is reported.
void holdClosedStandardStreams() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) >= 0 || errno != EBADF) continue;
        const int held = open("/dev/null", O_RDONLY | O_CLOEXEC);
        if (held >= 0 && held != fd) {
            dup2(held, fd);
            close(held);
        }
    }
}

// The command's output, every write checked; the outcome of the run once it is flushed. A closed
// pipe keeps the default SIGPIPE: the reader went away, and the run ends quietly.
int finishOutput(custsim::CheckedFdBuf& out, int exitCode) {
    if (out.flushAll()) return exitCode;
    std::cerr << "custpolicy: cannot write the output: " << std::strerror(out.error())
              << "; it is incomplete\n";
    return custsim::kExitInputError;
}

}  // namespace

// No exception leaves main: an input too large for memory, or any failure the commands did not
// foresee, is one line on stderr and exit code 2, never an abort.
int main(int argc, char** argv) {
    holdClosedStandardStreams();
    // A file-size limit (ulimit -f) makes a write fail with EFBIG, reported like any failed
    // write, instead of killing the run without a word and leaving a temporary file behind.
    std::signal(SIGXFSZ, SIG_IGN);
    custsim::CheckedFdBuf outBuf(STDOUT_FILENO);
    std::ostream out(&outBuf);
    int exitCode = custsim::kExitInputError;
    try {
        std::vector<std::string> args(argv + 1, argv + argc);
        exitCode = custsim::runCli(args, out, std::cerr);
    } catch (const std::bad_alloc&) {
        std::cerr << "custpolicy: out of memory: an input is too large to process\n";
    } catch (const std::exception& e) {
        std::cerr << "custpolicy: internal error: " << e.what() << '\n';
    } catch (...) {
        std::cerr << "custpolicy: internal error\n";
    }
    return finishOutput(outBuf, exitCode);
}
