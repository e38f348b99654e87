#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <type_traits>

namespace VX {
namespace Image {

// An ordered list of filter pointers. Graphs are built, walked and put back
// several times in every action, and nearly every filter has one or two
// inputs and readers and a graph a dozen filters: the first kInline items
// live in the list itself, and only longer lists take memory from the heap.
template <class T, std::size_t kInline>
class FilterList {
    static_assert(std::is_pointer<T>::value, "a list of pointers");

public:
    using value_type = T;
    using iterator = T*;
    using const_iterator = const T*;

    FilterList() = default;
    FilterList(std::initializer_list<T> items) { assign(items.begin(), items.end()); }
    template <class Iterator>
    FilterList(Iterator first, Iterator last) {
        assign(first, last);
    }
    FilterList(const FilterList& other) { assign(other.begin(), other.end()); }
    FilterList(FilterList&& other) noexcept { take(other); }
    FilterList& operator=(const FilterList& other) {
        if (this != &other) {
            size_ = 0;
            assign(other.begin(), other.end());
        }
        return *this;
    }
    FilterList& operator=(FilterList&& other) noexcept {
        if (this != &other) {
            heap_.reset();
            data_ = inline_;
            capacity_ = kInline;
            take(other);
        }
        return *this;
    }

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    T* begin() { return data_; }
    T* end() { return data_ + size_; }
    const T* begin() const { return data_; }
    const T* end() const { return data_ + size_; }
    T& operator[](std::size_t i) { return data_[i]; }
    const T& operator[](std::size_t i) const { return data_[i]; }
    T& front() { return data_[0]; }
    const T& front() const { return data_[0]; }
    T& back() { return data_[size_ - 1]; }
    const T& back() const { return data_[size_ - 1]; }

    void reserve(std::size_t count) {
        if (count <= capacity_)
            return;
        std::unique_ptr<T[]> bigger(new T[count]);
        std::copy(data_, data_ + size_, bigger.get());
        heap_ = std::move(bigger);
        data_ = heap_.get();
        capacity_ = count;
    }
    void push_back(T item) {
        if (size_ == capacity_)
            reserve(capacity_ * 2);
        data_[size_++] = item;
    }
    void pop_back() { --size_; }
    void clear() { size_ = 0; }
    // Removes [first, last); returns where the items after them now start.
    T* erase(T* first, T* last) {
        T* const stop = std::copy(last, end(), first);
        size_ = std::size_t(stop - data_);
        return first;
    }

    friend bool operator==(const FilterList& a, const FilterList& b) {
        return a.size_ == b.size_ && std::equal(a.begin(), a.end(), b.begin());
    }
    friend bool operator!=(const FilterList& a, const FilterList& b) { return !(a == b); }

private:
    template <class Iterator>
    void assign(Iterator first, Iterator last) {
        for (; first != last; ++first)
            push_back(*first);
    }
    // Takes `other`'s items, its heap block if it has one; leaves it empty.
    void take(FilterList& other) noexcept {
        if (other.heap_) {
            heap_ = std::move(other.heap_);
            data_ = heap_.get();
            capacity_ = other.capacity_;
        } else {
            std::copy(other.inline_, other.inline_ + other.size_, inline_);
        }
        size_ = other.size_;
        other.data_ = other.inline_;
        other.capacity_ = kInline;
        other.size_ = 0;
    }

    T inline_[kInline];
    std::unique_ptr<T[]> heap_;
    T* data_ = inline_;
    std::size_t size_ = 0;
    std::size_t capacity_ = kInline;
};

} // namespace Image
} // namespace VX
