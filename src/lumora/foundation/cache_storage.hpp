#pragma once
// A thread-safe store of immutable values under text keys, limited to a capacity in bytes.
// Each value states its own size; when an insert takes the total over the capacity, the least
// recently used values are dropped until it fits again. A value larger than the whole capacity
// is not kept. Values are shared: dropping one never invalidates a copy already handed out.

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace lumora {

class CacheStorage {
public:
    explicit CacheStorage(std::size_t capacity) : capacity_(capacity) {}

    std::shared_ptr<const void> findAny(const std::string& key);
    void insertAny(const std::string& key, std::shared_ptr<const void> value, std::size_t bytes);

    template <class T>
    std::shared_ptr<const T> find(const std::string& key) {
        return std::static_pointer_cast<const T>(findAny(key));
    }

    std::size_t capacity() const { return capacity_; }
    std::size_t usedBytes() const;
    void clear();

private:
    struct Entry {
        std::string key;
        std::shared_ptr<const void> value;
        std::size_t bytes;
    };

    mutable std::mutex mutex_;
    std::size_t capacity_;
    std::size_t used_ = 0;
    std::list<Entry> entries_;  // most recently used first
    std::unordered_map<std::string, std::list<Entry>::iterator> index_;
};

}  // namespace lumora
