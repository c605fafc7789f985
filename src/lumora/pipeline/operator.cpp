#include "lumora/pipeline/operator.hpp"

#include <atomic>
#include <chrono>

#include "lumora/image/channel_image.hpp"

namespace lumora {

IOperator::ElementFilter IOperator::makeElementFilter(const ElementSelector& selector) {
    if (selector.selectsAll()) {
        return std::make_shared<const std::function<bool(const ElementInfo&)>>([](const ElementInfo&) { return true; });
    }
    return std::make_shared<const std::function<bool(const ElementInfo&)>>(
        [name = fromDisplayName(selector.name)](const ElementInfo& element) { return element.name == name; });
}

std::int64_t currentTimestamp() {
    // Strictly increasing, so two changes within one clock tick still compare as "newer".
    static std::atomic<std::int64_t> last{0};
    const std::int64_t now =
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count();
    std::int64_t previous = last.load();
    std::int64_t next = 0;
    do {
        next = now > previous ? now : previous + 1;
    } while (!last.compare_exchange_weak(previous, next));
    return next;
}

std::vector<ElementInfo> listElements(const IImageInfoProvider& provider,
                                      const std::function<bool(const ElementInfo&)>& predicate) {
    std::vector<ElementInfo> result;
    for (const ElementInfo& element : provider.getElementInfos()) {
        if (predicate(element)) result.push_back(element);
    }
    return result;
}

}  // namespace lumora
