#include <iostream>
#include <string>
#include <vector>

#include "cli/application.hpp"
#include "lumora/foundation/system.hpp"
#include "lumora/foundation/temporary_files.hpp"

int main(int argc, char** argv) {
    lumora::utils::keepFreedMemoryForReuse();
    lumora::io::removeTemporaryFilesOnSignals();
    const std::vector<std::string> arguments(argv, argv + argc);
    return lumora::run(arguments, std::cout, std::cerr);
}
