#include <iostream>
#include <string>
#include <vector>

#include "cli/application.hpp"

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv, argv + argc);
    return lumora::run(arguments, std::cout, std::cerr);
}
