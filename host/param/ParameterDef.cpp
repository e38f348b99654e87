#include "host/param/ParameterDef.h"

#include <utility>

namespace VX {
namespace Host {
namespace Param {

ParamValue ParamValue::fromDouble(double value) {
    ParamValue result;
    result.setDouble(value);
    return result;
}

ParamValue ParamValue::fromInt(std::int32_t value) {
    ParamValue result;
    result.setInt(value);
    return result;
}

ParamValue ParamValue::fromBool(bool value) {
    ParamValue result;
    result.setBool(value);
    return result;
}

ParamValue ParamValue::fromRGB(const RGBValue& value) {
    ParamValue result;
    result.setRGB(value);
    return result;
}

ParamValue ParamValue::from2D(const Double2D& value) {
    ParamValue result;
    result.set2D(value);
    return result;
}

ParamValue ParamValue::fromString(const std::string& value) {
    ParamValue result;
    result.text = value;
    return result;
}

namespace {

ParameterDef makeRecord(std::uint32_t type, const std::string& name, std::uint32_t code,
                        std::uint32_t flags) {
    ParameterDef def;
    def.type = type;
    def.name = name;
    def.code = code;
    def.flags = flags;
    def.unitScale = 1.0;
    return def;
}

// Takes the values by value: the makers pass temporaries, which move in.
void setRange(ParameterDef& def, ParamValue defaultValue, ParamValue min, ParamValue max,
              ParamValue displayMin, ParamValue displayMax) {
    def.value = defaultValue;
    def.defaultValue = std::move(defaultValue);
    def.min = std::move(min);
    def.max = std::move(max);
    def.displayMin = std::move(displayMin);
    def.displayMax = std::move(displayMax);
}

} // namespace

ParameterDef makeDoubleParam(const std::string& name, std::uint32_t code, double defaultValue,
                             double min, double max, double displayMin, double displayMax,
                             std::uint32_t flags) {
    ParameterDef def = makeRecord(kParamTypeDouble, name, code, flags);
    setRange(def, ParamValue::fromDouble(defaultValue), ParamValue::fromDouble(min),
             ParamValue::fromDouble(max), ParamValue::fromDouble(displayMin),
             ParamValue::fromDouble(displayMax));
    return def;
}

ParameterDef makeIntParam(const std::string& name, std::uint32_t code, std::int32_t defaultValue,
                          std::int32_t min, std::int32_t max, std::int32_t displayMin,
                          std::int32_t displayMax, std::uint32_t flags) {
    ParameterDef def = makeRecord(kParamTypeInteger, name, code, flags);
    setRange(def, ParamValue::fromInt(defaultValue), ParamValue::fromInt(min),
             ParamValue::fromInt(max), ParamValue::fromInt(displayMin),
             ParamValue::fromInt(displayMax));
    return def;
}

ParameterDef makeBoolParam(const std::string& name, std::uint32_t code, bool defaultValue,
                           std::uint32_t flags) {
    ParameterDef def = makeRecord(kParamTypeBoolean, name, code, flags);
    setRange(def, ParamValue::fromBool(defaultValue), ParamValue::fromBool(false),
             ParamValue::fromBool(true), ParamValue::fromBool(false), ParamValue::fromBool(true));
    return def;
}

ParameterDef makeChoiceParam(const std::string& name, std::uint32_t code,
                             const std::vector<std::string>& options, std::int32_t defaultValue,
                             std::uint32_t flags) {
    ParameterDef def = makeRecord(kParamTypeChoice, name, code, flags);
    def.choiceOptions = options;
    const std::int32_t last = options.empty() ? 0 : static_cast<std::int32_t>(options.size() - 1);
    setRange(def, ParamValue::fromInt(defaultValue), ParamValue::fromInt(0),
             ParamValue::fromInt(last), ParamValue::fromInt(0), ParamValue::fromInt(last));
    return def;
}

ParameterDef makeStringParam(const std::string& name, std::uint32_t code,
                             const std::string& defaultValue, std::uint32_t flags) {
    ParameterDef def = makeRecord(kParamTypeString, name, code, flags);
    def.value = ParamValue::fromString(defaultValue);
    def.defaultValue = def.value;
    return def;
}

ParameterDef makeRGBParam(const std::string& name, std::uint32_t code, const RGBValue& defaultValue,
                          std::uint32_t flags) {
    ParameterDef def = makeRecord(kParamTypeRGB, name, code, flags);
    const ParamValue zero = ParamValue::fromRGB({0.0, 0.0, 0.0});
    const ParamValue one = ParamValue::fromRGB({1.0, 1.0, 1.0});
    setRange(def, ParamValue::fromRGB(defaultValue), zero, one, zero, one);
    return def;
}

ParameterDef make2DParam(const std::string& name, std::uint32_t code, const Double2D& defaultValue,
                         const Double2D& min, const Double2D& max, std::uint32_t flags) {
    ParameterDef def = makeRecord(kParamTypeDouble2D, name, code, flags);
    setRange(def, ParamValue::from2D(defaultValue), ParamValue::from2D(min),
             ParamValue::from2D(max), ParamValue::from2D(min), ParamValue::from2D(max));
    return def;
}

ParameterDef makeLayerParam(const std::string& name, std::uint32_t code, std::uint32_t flags) {
    return makeRecord(kParamTypeLayer, name, code, flags);
}

ParameterDef makeGroupStart(const std::string& name, std::uint32_t code, std::uint32_t flags) {
    return makeRecord(kParamTypeGroupStart, name, code, flags);
}

ParameterDef makeGroupEnd() { return makeRecord(kParamTypeGroupEnd, std::string(), 0, 0); }

ParameterDef makePushButton(const std::string& name, std::uint32_t code, std::uint32_t flags) {
    return makeRecord(kParamTypePushButton, name, code, flags);
}

} // namespace Param
} // namespace Host
} // namespace VX
