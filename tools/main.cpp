#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "cli.h"

// No exception leaves main: an input too large for memory, or any failure the commands did not
// foresee, is one line on stderr and exit code 2, never an abort.
int main(int argc, char** argv) {
    try {
        std::vector<std::string> args(argv + 1, argv + argc);
        return custsim::runCli(args, std::cout, std::cerr);
    } catch (const std::bad_alloc&) {
        std::cerr << "custpolicy: out of memory: an input is too large to process\n";
    } catch (const std::exception& e) {
        std::cerr << "custpolicy: internal error: " << e.what() << '\n';
    } catch (...) {
        std::cerr << "custpolicy: internal error\n";
    }
    return custsim::kExitInputError;
}
