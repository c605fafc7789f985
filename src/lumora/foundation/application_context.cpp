#include "lumora/foundation/application_context.hpp"

#include <mutex>
#include <utility>

namespace lumora {

namespace {
std::mutex slotMutex;
std::shared_ptr<ApplicationContext> slot;
}  // namespace

void setApplicationContext(std::shared_ptr<ApplicationContext> context) {
    std::shared_ptr<ApplicationContext> previous;
    {
        std::lock_guard lock(slotMutex);
        previous = std::exchange(slot, std::move(context));
    }
    // previous is released here, outside the lock, in case its destructor looks at the slot.
}

std::shared_ptr<ApplicationContext> getApplicationContext() {
    std::lock_guard lock(slotMutex);
    return slot;
}

}  // namespace lumora
