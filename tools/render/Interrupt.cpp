#include "Interrupt.h"

#include <cstring>

namespace ofxrender {

namespace {

// One slot per file being written: far more than render threads plus the
// contact sheet. A slot holds the path's own copy, or null when free.
constexpr int kSlots = 512;
std::atomic<char*> slots[kSlots];
// What the handler leaves in a slot it has taken: the writer must not free
// the path then, since the handler may still be reading it.
char taken = 0;

static_assert(ATOMIC_POINTER_LOCK_FREE == 2, "a signal handler needs lock-free pointers");

} // namespace

FileBeingWritten::FileBeingWritten(const std::string& path) {
    path_ = new char[path.size() + 1];
    std::memcpy(path_, path.c_str(), path.size() + 1);
    for (int i = 0; i < kSlots; ++i) {
        char* expected = nullptr;
        if (slots[i].compare_exchange_strong(expected, path_)) {
            slot_ = i;
            return;
        }
    }
    // Every slot busy: the file is written unmarked, as before this existed.
}

FileBeingWritten::~FileBeingWritten() {
    if (slot_ < 0) {
        delete[] path_;
        return;
    }
    char* expected = path_;
    if (slots[slot_].compare_exchange_strong(expected, nullptr)) {
        delete[] path_;
    }
    // Otherwise the handler has it and the process is ending: leave it be.
}

void removeFilesBeingWritten() noexcept {
    for (std::atomic<char*>& slot : slots) {
        char* path = slot.exchange(&taken);
        if (path != nullptr && path != &taken) {
            removeFileNow(path);
        }
    }
}

} // namespace ofxrender
