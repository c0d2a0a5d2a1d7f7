#pragma once
// Growable array with a fixed growth rule (8, 16, 32, ...) and checked access.

#include <cstddef>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

#include "qis/Exception.h"

namespace qis {

template <class T>
class Array {
public:
    static constexpr std::size_t kFirstCapacity = 8;

    Array() = default;

    void add(const T& item) { makeRoomForOne(); items_.push_back(item); }
    void add(T&& item) { makeRoomForOne(); items_.push_back(std::move(item)); }

    T& get(std::size_t index) { checkIndex(index); return items_[index]; }
    const T& get(std::size_t index) const { checkIndex(index); return items_[index]; }
    T& operator[](std::size_t index) { return get(index); }
    const T& operator[](std::size_t index) const { return get(index); }

    std::size_t size() const { return items_.size(); }
    std::size_t capacity() const { return capacity_; }
    bool isEmpty() const { return items_.empty(); }
    void clear() { items_.clear(); }

    // Storage that cannot be had is reported as the foundation's NullPointer, never as a
    // half-grown array.
    void reserve(std::size_t wanted) {
        if (wanted <= capacity_) return;
        try {
            items_.reserve(wanted);
        } catch (const std::bad_alloc&) {
            throw NullPointer("Asked for array of size:" + String::number(static_cast<unsigned long long>(wanted)));
        } catch (const std::length_error&) {
            throw NullPointer("Asked for array of size:" + String::number(static_cast<unsigned long long>(wanted)));
        }
        capacity_ = wanted;
    }

    auto begin() { return items_.begin(); }
    auto end() { return items_.end(); }
    auto begin() const { return items_.begin(); }
    auto end() const { return items_.end(); }

private:
    void makeRoomForOne() {
        if (items_.size() < capacity_) return;
        const std::size_t grown = capacity_ == 0 ? kFirstCapacity
                                  : capacity_ > std::numeric_limits<std::size_t>::max() / 2
                                      ? std::numeric_limits<std::size_t>::max()
                                      : capacity_ * 2;
        reserve(grown);
    }

    void checkIndex(std::size_t index) const {
        if (index >= items_.size())
            throw IndexOutOfBounds(0, static_cast<long long>(items_.size()) - 1, static_cast<long long>(index));
    }

    std::vector<T> items_;
    std::size_t capacity_ = 0;
};

} // namespace qis
