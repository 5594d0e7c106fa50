#include <iostream>
#include <string>
#include <vector>

#include "cli.h"

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    return custsim::runCli(args, std::cout, std::cerr);
}
