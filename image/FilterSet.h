#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace VX {
namespace Image {

// The filters that one walk of a graph has met. A recipe's graph holds a
// dozen filters or so, and it is walked several times in every action: a
// scan of a short array beats hashing them, and the first kInline need no
// memory from the heap.
template <class T>
class FilterSet {
public:
    FilterSet() = default;
    template <class Iterator>
    FilterSet(Iterator first, Iterator last) {
        for (; first != last; ++first)
            insert(*first);
    }

    std::size_t count(const T* item) const { return find(item) < size() ? 1 : 0; }

    // False when `item` was there already.
    bool insert(const T* item) {
        if (find(item) < size())
            return false;
        if (inlineCount_ < kInline)
            inline_[inlineCount_++] = item;
        else
            more_.push_back(item);
        return true;
    }

    void erase(const T* item) {
        const std::size_t at = find(item);
        if (at >= size())
            return;
        // The last item takes the place of the one erased.
        slot(at) = slot(size() - 1);
        if (more_.empty())
            --inlineCount_;
        else
            more_.pop_back();
    }

    std::size_t size() const { return inlineCount_ + more_.size(); }

private:
    static constexpr std::size_t kInline = 24;

    std::size_t find(const T* item) const {
        for (std::size_t i = 0; i < inlineCount_; ++i)
            if (inline_[i] == item)
                return i;
        for (std::size_t i = 0; i < more_.size(); ++i)
            if (more_[i] == item)
                return kInline + i;
        return size();
    }
    const T*& slot(std::size_t at) { return at < kInline ? inline_[at] : more_[at - kInline]; }

    std::array<const T*, kInline> inline_{};
    std::size_t inlineCount_ = 0;
    std::vector<const T*> more_;
};

} // namespace Image
} // namespace VX
