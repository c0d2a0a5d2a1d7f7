#pragma once
// String-keyed hash table with separate chaining. Keys compare exactly (case-sensitive).

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "qis/Exception.h"
#include "qis/String.h"

namespace qis {

// FNV-1a over the UTF-8 bytes: stable across platforms and runs.
struct HashFunc {
    std::size_t operator()(const String& key) const {
        std::uint64_t hash = 14695981039346656037ull;
        for (unsigned char c : key.utf8()) hash = (hash ^ c) * 1099511628211ull;
        return static_cast<std::size_t>(hash);
    }
};

template <class V, class Hash = HashFunc>
class HashTable {
public:
    explicit HashTable(std::size_t buckets = 16) : buckets_(buckets == 0 ? 1 : buckets) {}

    // Replaces the value of a key already present.
    void put(const String& key, V value) {
        if (V* existing = find(key)) {
            *existing = std::move(value);
            return;
        }
        if ((size_ + 1) * 4 > buckets_.size() * 3) rehash(buckets_.size() * 2);
        bucketFor(key).emplace_back(key, std::move(value));
        ++size_;
    }

    bool containsKey(const String& key) const { return find(key) != nullptr; }

    const V& get(const String& key) const {
        if (const V* value = find(key)) return *value;
        throw HashKeyMissing(key);
    }

    bool remove(const String& key) {
        auto& bucket = bucketFor(key);
        for (auto it = bucket.begin(); it != bucket.end(); ++it) {
            if (it->first == key) {
                bucket.erase(it);
                --size_;
                return true;
            }
        }
        return false;
    }

    std::size_t size() const { return size_; }
    bool isEmpty() const { return size_ == 0; }
    void clear() {
        for (auto& bucket : buckets_) bucket.clear();
        size_ = 0;
    }

private:
    using Bucket = std::vector<std::pair<String, V>>;

    Bucket& bucketFor(const String& key) { return buckets_[Hash()(key) % buckets_.size()]; }
    const Bucket& bucketFor(const String& key) const { return buckets_[Hash()(key) % buckets_.size()]; }

    V* find(const String& key) {
        for (auto& entry : bucketFor(key))
            if (entry.first == key) return &entry.second;
        return nullptr;
    }
    const V* find(const String& key) const { return const_cast<HashTable*>(this)->find(key); }

    void rehash(std::size_t count) {
        std::vector<Bucket> old(count);
        old.swap(buckets_);
        for (auto& bucket : old)
            for (auto& entry : bucket) bucketFor(entry.first).push_back(std::move(entry));
    }

    std::vector<Bucket> buckets_;
    std::size_t size_ = 0;
};

} // namespace qis
