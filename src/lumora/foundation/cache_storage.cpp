#include "lumora/foundation/cache_storage.hpp"

namespace lumora {

std::shared_ptr<const void> CacheStorage::findAny(const std::string& key) {
    std::lock_guard lock(mutex_);
    const auto it = index_.find(key);
    if (it == index_.end()) return nullptr;
    entries_.splice(entries_.begin(), entries_, it->second);
    return it->second->value;
}

void CacheStorage::insertAny(const std::string& key, std::shared_ptr<const void> value, std::size_t bytes) {
    std::lock_guard lock(mutex_);
    if (const auto it = index_.find(key); it != index_.end()) {
        used_ -= it->second->bytes;
        entries_.erase(it->second);
        index_.erase(it);
    }
    if (bytes > capacity_) return;
    while (used_ + bytes > capacity_ && !entries_.empty()) {
        used_ -= entries_.back().bytes;
        index_.erase(entries_.back().key);
        entries_.pop_back();
    }
    entries_.push_front(Entry{key, std::move(value), bytes});
    index_[key] = entries_.begin();
    used_ += bytes;
}

std::size_t CacheStorage::usedBytes() const {
    std::lock_guard lock(mutex_);
    return used_;
}

void CacheStorage::clear() {
    std::lock_guard lock(mutex_);
    entries_.clear();
    index_.clear();
    used_ = 0;
}

}  // namespace lumora
