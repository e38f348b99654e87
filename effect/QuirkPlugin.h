#pragma once

namespace VX {

// The flicker effect, written against any host bridge: its identity and the
// answers that differ from the bridge's defaults.
template <class HostBridge>
class QuirkPlugin : public HostBridge {
public:
    static constexpr const char* kProductName = "Stutter Quirk";
    static constexpr const char* kDescription = "Flicker creation";
    static constexpr const char* kVersionText = "1.0";
    static constexpr int kVersionMajor = 1;
    static constexpr int kVersionMinor = 0;
    static constexpr int kSizeHint = 1024;

    const char* productName() const override { return kProductName; }
    const char* productDescription() const override { return kDescription; }
    const char* versionText() const override { return kVersionText; }
    void versionNumbers(int numbers[4]) const override {
        numbers[0] = kVersionMajor;
        numbers[1] = kVersionMinor;
    }
    void sizeHint(int& width, int& height) const override {
        width = kSizeHint;
        height = kSizeHint;
    }
};

} // namespace VX
