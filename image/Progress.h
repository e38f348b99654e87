#pragma once

#include <cstdint>

namespace VX {
namespace Image {

// Where long work reports how far it has come. May throw VX::Interrupted
// when the user has cancelled.
class Progress {
public:
    virtual ~Progress() = default;
    virtual void update(std::uint64_t done, std::uint64_t total) = 0;
};

// Progress reported to the host bridge. Only reporter 0 moves the host's
// bar; the others (worker threads) only notice a cancel.
template <class Host>
class HostProgress : public Progress {
public:
    HostProgress(Host& host, unsigned reporter) : host_(host), reporter_(reporter) {}
    void update(std::uint64_t done, std::uint64_t total) override {
        host_.reportProgress(reporter_, done, total);
    }

private:
    Host& host_;
    unsigned reporter_;
};

} // namespace Image
} // namespace VX
