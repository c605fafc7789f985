#pragma once
// The thread-safe settings container: the current value of every property for one job.
//
// Only values that were set or read are stored; reading a property that is not stored stores
// and returns its registry default. The last set of a property wins; types and limits are
// checked only by validate(). Lock order is always the set lock, then the data lock.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "lumora/settings/property.hpp"

namespace lumora {

namespace Abstract {
class Settings {
public:
    virtual ~Settings() = default;
    // A copy of the current value; an unregistered id throws "Requested property id is not defined."
    virtual Property get(int id) const = 0;
    virtual void set(int id, const Property& value) = 0;
};
}  // namespace Abstract

class Settings : public Abstract::Settings, public std::enable_shared_from_this<Settings> {
public:
    using Listener = std::function<void(int id, const Property& value)>;

    Settings() = default;
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;

    Property get(int id) const override;
    void set(int id, const Property& value) override;

    // Typed reads (the type exception applies).
    int getInt(int id) const { return get(id).asInt(); }
    float getFloat(int id) const { return get(id).asFloat(); }
    bool getBool(int id) const { return get(id).asBool(); }

    // Worker threads for the job from system.numThreads: 0 means all logical processors, a
    // negative value leaves that many free (at least one thread), a larger value is capped.
    int getNumWorkerThreads() const;
    static int computeNumWorkerThreads(int setting, int logicalProcessors);

    // system.randomSeed, or a fresh non-negative secure random seed when it is 0.
    std::uint32_t getRandomSeed() const;

    // Checks every stored value against its descriptor; throws
    // "Property <name> is invalid. <reason>" on the first invalid one (ascending id).
    void validate() const;

    // Calls visit(id, value) for every stored value in ascending id order, under the data lock.
    void forEachStored(const std::function<void(int, const Property&)>& visit) const;

    // Change listeners: called by set with (id, value) after a real change, under the set lock.
    int addListener(int id, Listener listener);  // returns a handle
    void removeListener(int handle);
    void setNotificationEnabled(bool enabled);

private:
    mutable std::mutex setMutex_;   // serialises whole set operations with their notifications
    mutable std::mutex dataMutex_;  // guards values_
    mutable std::map<int, Property> values_;

    mutable std::mutex listenerMutex_;
    std::multimap<int, std::pair<int, Listener>> listeners_;  // id -> (handle, listener)
    int nextHandle_ = 1;
    bool notificationEnabled_ = true;
};

// True when value is acceptable for property id; otherwise false with the reason filled in.
bool validatePropertyValue(int id, const Property& value, std::string& reason);

}  // namespace lumora
