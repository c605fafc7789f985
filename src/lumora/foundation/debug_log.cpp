#include "lumora/foundation/debug_log.hpp"

#include <cstdlib>
#include <fstream>
#include <mutex>

namespace lumora::debug {

namespace {
const char* logPath() {
    static const char* path = std::getenv("LUMORA_DEBUG_LOG");
    return path && *path ? path : nullptr;
}
}  // namespace

bool logEnabled() { return logPath() != nullptr; }

void log(std::string_view line) {
    const char* path = logPath();
    if (!path) return;
    static std::mutex mutex;
    std::lock_guard lock(mutex);
    std::ofstream out(path, std::ios::app);
    out << line << '\n';
}

}  // namespace lumora::debug
