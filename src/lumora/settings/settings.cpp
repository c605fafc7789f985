#include "lumora/settings/settings.hpp"

#include <algorithm>
#include <vector>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/system.hpp"
#include "lumora/settings/property_descriptor.hpp"

namespace lumora {

Property Settings::get(int id) const {
    std::lock_guard lock(dataMutex_);
    if (const auto it = values_.find(id); it != values_.end()) {
        return it->second;
    }
    const PropertyDescriptor* descriptor = PropertyDescriptor::get(id);
    if (!descriptor) {
        throw Exception("Requested property id is not defined.");
    }
    // Storing the default pins it: this container keeps reading the same value from now on.
    return values_.emplace(id, descriptor->defaultValue).first->second;
}

void Settings::set(int id, const Property& value) {
    std::lock_guard setLock(setMutex_);
    {
        std::lock_guard dataLock(dataMutex_);
        const auto it = values_.find(id);
        if (it == values_.end()) {
            values_.emplace(id, value);
        } else {
            Property& stored = it->second;
            if (stored.type() == value.type() && (value.isEmpty() || stored == value)) {
                return;
            }
            stored = value;
        }
    }

    // Listeners run outside the data lock (they may read this container) but inside the set
    // lock, so the notifications of two sets never interleave.
    std::vector<Listener> toCall;
    {
        std::lock_guard listenerLock(listenerMutex_);
        if (listeners_.empty() || !notificationEnabled_) {
            return;
        }
        const auto [first, last] = listeners_.equal_range(id);
        for (auto it = first; it != last; ++it) {
            toCall.push_back(it->second.second);
        }
    }
    for (const Listener& listener : toCall) {
        listener(id, value);
    }
}

int Settings::computeNumWorkerThreads(int setting, int logicalProcessors) {
    int result = std::min(setting, logicalProcessors);
    if (result == 0) {
        result = logicalProcessors;
    }
    if (result < 0) {
        result = std::max(logicalProcessors + result, 1);
    }
    return result;
}

int Settings::getNumWorkerThreads() const {
    return computeNumWorkerThreads(getInt(PropertyId::systemNumThreads), utils::getLogicalProcessorCount());
}

std::uint32_t Settings::getRandomSeed() const {
    const auto seed = static_cast<std::uint32_t>(getInt(PropertyId::systemRandomSeed));
    if (seed != 0) {
        return seed;
    }
    std::uint32_t fresh = 0;
    utils::secureRandom(&fresh, sizeof(fresh));
    return fresh & 0x7FFFFFFFu;
}

void Settings::validate() const {
    std::lock_guard lock(dataMutex_);
    std::string reason;
    for (const auto& [id, value] : values_) {
        if (validatePropertyValue(id, value, reason)) {
            continue;
        }
        const PropertyDescriptor* descriptor = PropertyDescriptor::get(id);
        const std::string name = descriptor ? descriptor->name : std::to_string(id);
        throw Exception("Property " + name + " is invalid." + " " + reason);
    }
}

void Settings::forEachStored(const std::function<void(int, const Property&)>& visit) const {
    std::lock_guard lock(dataMutex_);
    for (const auto& [id, value] : values_) {
        visit(id, value);
    }
}

int Settings::addListener(int id, Listener listener) {
    std::lock_guard lock(listenerMutex_);
    const int handle = nextHandle_++;
    listeners_.emplace(id, std::make_pair(handle, std::move(listener)));
    return handle;
}

void Settings::removeListener(int handle) {
    std::lock_guard lock(listenerMutex_);
    std::erase_if(listeners_, [handle](const auto& entry) { return entry.second.first == handle; });
}

void Settings::setNotificationEnabled(bool enabled) {
    std::lock_guard lock(listenerMutex_);
    notificationEnabled_ = enabled;
}

bool validatePropertyValue(int id, const Property& value, std::string& reason) {
    const PropertyDescriptor* descriptor = PropertyDescriptor::get(id);
    if (!descriptor) {
        reason = "Value is unrecognized.";
        return false;
    }
    if (descriptor->type != value.type()) {
        reason = "Value has wrong type.";
        return false;
    }
    const Property& min = descriptor->minValue;
    const Property& max = descriptor->maxValue;
    // Limits of another type than the property's (or none at all) mean "no limits".
    if (value.type() == PropertyType::Int && min.type() == PropertyType::Int && max.type() == PropertyType::Int) {
        const int v = value.asInt();
        if (v < min.asInt() || v > max.asInt()) {
            reason = "Value is expected to be between " + std::to_string(min.asInt()) + " and " +
                     std::to_string(max.asInt()) + ".";
            return false;
        }
    } else if (value.type() == PropertyType::Float && min.type() == PropertyType::Float &&
               max.type() == PropertyType::Float) {
        // Written so that a NaN passes: both comparisons are false for it.
        const float v = value.asFloat();
        if (min.asFloat() > v || v > max.asFloat()) {
            reason = "Value is expected to be between " + floatToStr(min.asFloat()) + " and " +
                     floatToStr(max.asFloat()) + ".";
            return false;
        }
    }
    return true;
}

}  // namespace lumora
