#pragma once

#include "host/param/ParameterDef.h"
#include "host/param/Parameters.h"

namespace VX {

// The flicker effect, written against any host bridge: its identity, its
// parameters and the answers that differ from the bridge's defaults.
template <class HostBridge>
class QuirkPlugin : public HostBridge {
public:
    static constexpr const char* kProductName = "Stutter Quirk";
    static constexpr const char* kDescription = "Flicker creation";
    static constexpr const char* kVersionText = "1.0";
    static constexpr int kVersionMajor = 1;
    static constexpr int kVersionMinor = 0;
    static constexpr int kSizeHint = 1024;

    // The parameters by index, in the order they are defined.
    enum ParamIndex { kQuirkTime = 0, kRandomQuirk = 1, kIncreaseQuirky = 2, kUnmasked = 3 };

    static constexpr std::uint32_t kQuirkTimeCode = Host::Param::paramCode('S', 'Q', 't', 'i');
    static constexpr std::uint32_t kRandomQuirkCode = Host::Param::paramCode('S', 'Q', 'r', 'n');
    static constexpr std::uint32_t kIncreaseQuirkyCode = Host::Param::paramCode('S', 'Q', 'i', 'c');
    static constexpr std::uint32_t kUnmaskedCode = Host::Param::paramCode('S', 'Q', 'm', 'k');

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

    void defineParameters(Host::Param::Parameters& set) override {
        using namespace Host::Param;
        set.reserve(set.count() + 4);
        // The mean length of the off stretches, in frames. Not animated: the
        // flicker pattern is walked from time 0 with one value.
        set.append(makeDoubleParam("Quirk Time", kQuirkTimeCode, 3.0, 1.0, 100.0, 1.0, 100.0,
                                   kParamNoAnimation));
        // How much the off stretches vary, in percent.
        set.append(makeDoubleParam("Random Quirk", kRandomQuirkCode, 0.0, 0.0, 100.0, 0.0, 100.0,
                                   kParamScale));
        set.append(makeBoolParam("Increase Quirky", kIncreaseQuirkyCode, false));
        set.append(makeBoolParam("Unmasked", kUnmaskedCode, false));
    }
};

} // namespace VX
