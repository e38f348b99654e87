#pragma once

#include <atomic>
#include <cstdint>
#include <new>
#include <utility>

namespace VX {
namespace Image {

// A shared owner of a heap object whose 32-bit count lives in a block of its
// own, so that any object (HostImage included, which knows nothing of
// sharing) can be held. The count changes atomically: references may be
// copied and dropped on different threads. The object is deleted with the
// last reference.
template <class T>
class SharedRef {
public:
    SharedRef() noexcept = default;
    // Takes ownership of `object`; it is deleted here if no count can be
    // allocated for it.
    explicit SharedRef(T* object) : object_(object) {
        if (object_ == nullptr)
            return;
        try {
            count_ = new std::atomic<std::uint32_t>(1);
        } catch (...) {
            delete object_;
            throw;
        }
    }
    SharedRef(const SharedRef& other) noexcept : object_(other.object_), count_(other.count_) {
        if (count_ != nullptr)
            count_->fetch_add(1, std::memory_order_relaxed);
    }
    SharedRef(SharedRef&& other) noexcept
        : object_(std::exchange(other.object_, nullptr)),
          count_(std::exchange(other.count_, nullptr)) {}
    ~SharedRef() { release(); }

    SharedRef& operator=(const SharedRef& other) noexcept {
        SharedRef(other).swap(*this);
        return *this;
    }
    SharedRef& operator=(SharedRef&& other) noexcept {
        SharedRef(std::move(other)).swap(*this);
        return *this;
    }

    void reset() noexcept { SharedRef().swap(*this); }
    void swap(SharedRef& other) noexcept {
        std::swap(object_, other.object_);
        std::swap(count_, other.count_);
    }

    T* get() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    T* operator->() const noexcept { return object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    // How many references share the object; 0 for an empty reference.
    std::uint32_t useCount() const noexcept {
        return count_ != nullptr ? count_->load(std::memory_order_relaxed) : 0;
    }

private:
    void release() noexcept {
        // Acquire-release: the thread that deletes must see every write made
        // through the other references before they were dropped.
        if (count_ != nullptr && count_->fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete object_;
            delete count_;
        }
        object_ = nullptr;
        count_ = nullptr;
    }

    T* object_ = nullptr;
    std::atomic<std::uint32_t>* count_ = nullptr;
};

// A new object of type T shared from the start.
template <class T, class... Args>
SharedRef<T> makeShared(Args&&... args) {
    return SharedRef<T>(new T(std::forward<Args>(args)...));
}

} // namespace Image
} // namespace VX
