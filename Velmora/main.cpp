// Entry point of the velmora executable.
#include "Cli/CliApp.hpp"

#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    return velmora::cli::runCli(arguments, std::cout, std::cerr);
}
