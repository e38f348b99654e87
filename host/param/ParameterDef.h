#pragma once

// One parameter record as an effect defines it, its value type, and the type
// codes and flag bits that the host bridges interpret.

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace VX {
namespace Host {
namespace Param {

// Type codes. The numbers are stored with the effect's definitions and
// interpreted by every host bridge, so they must never be renumbered.
constexpr std::uint32_t kParamTypeInteger = 1;
constexpr std::uint32_t kParamTypeDouble = 2;
constexpr std::uint32_t kParamTypeBoolean = 3;
constexpr std::uint32_t kParamTypeString = 4;
constexpr std::uint32_t kParamTypeChoice = 5;
constexpr std::uint32_t kParamTypeString2 = 6; // behaves exactly like kParamTypeString
constexpr std::uint32_t kParamTypeRGB = 7;
constexpr std::uint32_t kParamTypeDouble2D = 8;
constexpr std::uint32_t kParamTypeGroupStart = 9;
constexpr std::uint32_t kParamTypeGroupEnd = 10;
constexpr std::uint32_t kParamTypeLayer = 11;
constexpr std::uint32_t kParamTypeNone = 12;
constexpr std::uint32_t kParamTypePushButton = 13;

constexpr std::uint32_t kParamTypeFirst = kParamTypeInteger;
constexpr std::uint32_t kParamTypeLast = kParamTypePushButton;

// Flag bits of ParameterDef::flags. A bit that a type does not use is ignored.
constexpr std::uint32_t kParamScale = 0x1;
constexpr std::uint32_t kParamAngle = 0x2;
constexpr std::uint32_t kParamX = 0x4;
constexpr std::uint32_t kParamY = 0x8;
constexpr std::uint32_t kParamDisabled = 0x10;
constexpr std::uint32_t kParamSecret = 0x20;
constexpr std::uint32_t kParamNoAnimation = 0x40;
constexpr std::uint32_t kParamGroupOpen = 0x100;
constexpr std::uint32_t kParamPluginMayWrite = 0x400;
constexpr std::uint32_t kParamNoUndo = 0x1000;
constexpr std::uint32_t kParamNoEvaluate = 0x2000;
constexpr std::uint32_t kParamNotPersistent = 0x4000;
constexpr std::uint32_t kParamTime = 0x10000;
constexpr std::uint32_t kParamAbsoluteTime = 0x20000;
constexpr std::uint32_t kParamPluginMayWrite2 = 0x40000;

// A four-character code, first character in the most significant byte, as a
// multi-character literal would give it (without the compiler's warning).
constexpr std::uint32_t paramCode(char a, char b, char c, char d) {
    return (static_cast<std::uint32_t>(static_cast<unsigned char>(a)) << 24) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(b)) << 16) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(c)) << 8) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(d));
}

struct RGBValue {
    double r = 0.0;
    double g = 0.0;
    double b = 0.0;
};

struct Double2D {
    double x = 0.0;
    double y = 0.0;
};

// Three numbers and a string; the record's type says which part means what.
// Integer, choice and layer values live as a 32-bit integer at the start of
// the first number's storage and booleans as one byte there, so they are
// reached through memcpy rather than by reading the double.
struct ParamValue {
    double numbers[3] = {0.0, 0.0, 0.0};
    std::string text;

    double asDouble() const { return numbers[0]; }
    void setDouble(double value) { numbers[0] = value; }

    std::int32_t asInt() const {
        std::int32_t value;
        std::memcpy(&value, &numbers[0], sizeof value);
        return value;
    }
    void setInt(std::int32_t value) { std::memcpy(&numbers[0], &value, sizeof value); }

    bool asBool() const {
        unsigned char byte;
        std::memcpy(&byte, &numbers[0], 1);
        return byte != 0;
    }
    void setBool(bool value) {
        const unsigned char byte = value ? 1 : 0;
        std::memcpy(&numbers[0], &byte, 1);
    }

    RGBValue asRGB() const { return {numbers[0], numbers[1], numbers[2]}; }
    void setRGB(const RGBValue& value) {
        numbers[0] = value.r;
        numbers[1] = value.g;
        numbers[2] = value.b;
    }

    Double2D as2D() const { return {numbers[0], numbers[1]}; }
    void set2D(const Double2D& value) {
        numbers[0] = value.x;
        numbers[1] = value.y;
    }

    static ParamValue fromDouble(double value);
    static ParamValue fromInt(std::int32_t value);
    static ParamValue fromBool(bool value);
    static ParamValue fromRGB(const RGBValue& value);
    static ParamValue from2D(const Double2D& value);
    static ParamValue fromString(const std::string& value);
};

struct ParameterDef {
    std::uint32_t type = 0;
    std::string name;
    std::uint32_t code = 0; // 0: the record has no code
    std::int32_t reserved = 0;
    std::vector<std::string> extraList;
    std::vector<std::string> choiceOptions; // option index = value
    ParamValue value;
    ParamValue defaultValue;
    ParamValue displayMin;
    ParamValue displayMax;
    ParamValue min;
    ParamValue max;
    std::uint32_t flags = 0;
    double unitScale = 0.0;
};

// Record makers for effects. Each fills value and default alike and sets the
// unit scale to 1; everything not named stays zero or empty.
ParameterDef makeDoubleParam(const std::string& name, std::uint32_t code, double defaultValue,
                             double min, double max, double displayMin, double displayMax,
                             std::uint32_t flags = 0);
ParameterDef makeIntParam(const std::string& name, std::uint32_t code, std::int32_t defaultValue,
                          std::int32_t min, std::int32_t max, std::int32_t displayMin,
                          std::int32_t displayMax, std::uint32_t flags = 0);
// Range false..true, held as 0 and 1.
ParameterDef makeBoolParam(const std::string& name, std::uint32_t code, bool defaultValue,
                           std::uint32_t flags = 0);
// Range 0..last option.
ParameterDef makeChoiceParam(const std::string& name, std::uint32_t code,
                             const std::vector<std::string>& options, std::int32_t defaultValue,
                             std::uint32_t flags = 0);
ParameterDef makeStringParam(const std::string& name, std::uint32_t code,
                             const std::string& defaultValue, std::uint32_t flags = 0);
// Range 0..1 in each component.
ParameterDef makeRGBParam(const std::string& name, std::uint32_t code, const RGBValue& defaultValue,
                          std::uint32_t flags = 0);
// A range of exactly (0, 0)..(1, 1) marks a position for the host bridges.
ParameterDef make2DParam(const std::string& name, std::uint32_t code, const Double2D& defaultValue,
                         const Double2D& min, const Double2D& max, std::uint32_t flags = 0);
ParameterDef makeLayerParam(const std::string& name, std::uint32_t code, std::uint32_t flags = 0);
ParameterDef makeGroupStart(const std::string& name, std::uint32_t code, std::uint32_t flags = 0);
ParameterDef makeGroupEnd();
ParameterDef makePushButton(const std::string& name, std::uint32_t code, std::uint32_t flags = 0);

} // namespace Param
} // namespace Host
} // namespace VX
