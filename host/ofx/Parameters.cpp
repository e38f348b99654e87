#include "host/ofx/Parameters.h"

#include "host/ofx/Error.h"
#include "host/ofx/Host.h"
#include "host/ofx/ParamNames.h"

namespace VX {
namespace Host {
namespace OFX {

Parameters::Parameters(Host& host) : host_(host) {}

bool Parameters::hostHasPages() const {
    int rowsAndColumns = 0;
    if (host_.propertySuite() == nullptr || host_.host() == nullptr ||
        host_.propertySuite()->propGetInt(host_.host()->host, kOfxParamHostPropPageRowColumnCount,
                                          0, &rowsAndColumns) != kOfxStatOK)
        return false;
    return rowsAndColumns > 0;
}

std::string Parameters::parameterName(int index) const {
    return paramIdentifier(host_.paramIdTable(), record(index));
}

int Parameters::findParameter(const std::string& name) const {
    for (int i = 0; i < count(); ++i)
        if (parameterName(i) == name)
            return i;
    return -1;
}

OfxParamHandle Parameters::handle(int index, OfxPropertySetHandle* props) const {
    // The instance's parameter set is the same for the whole action: asked
    // for once.
    if (paramSet_ == nullptr) {
        OfxParamSetHandle paramSet = nullptr;
        const OfxStatus status =
            host_.imageEffectSuite()->getParamSet(host_.effectHandle(), &paramSet);
        if (status != kOfxStatOK)
            throw Error{status};
        // A host that answers OK without a parameter set has none to give:
        // the action fails as if the call had.
        if (paramSet == nullptr)
            throw Error{kOfxStatFailed};
        paramSet_ = paramSet;
    }
    // A parameter the host does not know leaves the handle null; the value
    // call then fails and the getter answers zero.
    OfxParamHandle param = nullptr;
    host_.parameterSuite()->paramGetHandle(paramSet_, parameterName(index).c_str(), &param, props);
    return param;
}

// --- getters: what the host's call leaves in the result ---------------------

double Parameters::getDouble(int index, double time) const {
    double v = 0.0;
    host_.parameterSuite()->paramGetValueAtTime(handle(index), time, &v);
    return v;
}

double Parameters::getDouble(int index) const {
    double v = 0.0;
    host_.parameterSuite()->paramGetValue(handle(index), &v);
    return v;
}

std::int32_t Parameters::getInt(int index, double time) const {
    int v = 0;
    host_.parameterSuite()->paramGetValueAtTime(handle(index), time, &v);
    return v;
}

std::int32_t Parameters::getInt(int index) const {
    int v = 0;
    host_.parameterSuite()->paramGetValue(handle(index), &v);
    return v;
}

bool Parameters::getBool(int index, double time) const { return getInt(index, time) != 0; }
bool Parameters::getBool(int index) const { return getInt(index) != 0; }

Param::RGBValue Parameters::getRGB(int index, double time) const {
    Param::RGBValue v;
    host_.parameterSuite()->paramGetValueAtTime(handle(index), time, &v.r, &v.g, &v.b);
    return v;
}

Param::RGBValue Parameters::getRGB(int index) const {
    Param::RGBValue v;
    host_.parameterSuite()->paramGetValue(handle(index), &v.r, &v.g, &v.b);
    return v;
}

Param::Double2D Parameters::get2D(int index, double time) const {
    Param::Double2D v;
    host_.parameterSuite()->paramGetValueAtTime(handle(index), time, &v.x, &v.y);
    return v;
}

Param::Double2D Parameters::get2D(int index) const {
    Param::Double2D v;
    host_.parameterSuite()->paramGetValue(handle(index), &v.x, &v.y);
    return v;
}

std::string Parameters::getString(int index, double time) const {
    char* v = nullptr;
    host_.parameterSuite()->paramGetValueAtTime(handle(index), time, &v);
    return v ? std::string(v) : std::string();
}

std::string Parameters::getString(int index) const {
    char* v = nullptr;
    host_.parameterSuite()->paramGetValue(handle(index), &v);
    return v ? std::string(v) : std::string();
}

// --- setters: stored by the host as given -------------------------------------

void Parameters::setDouble(double value, int index, double time) {
    host_.parameterSuite()->paramSetValueAtTime(handle(index), time, value);
}

void Parameters::setDouble(double value, int index) {
    host_.parameterSuite()->paramSetValue(handle(index), value);
}

void Parameters::setInt(std::int32_t value, int index, double time) {
    host_.parameterSuite()->paramSetValueAtTime(handle(index), time, static_cast<int>(value));
}

void Parameters::setInt(std::int32_t value, int index) {
    host_.parameterSuite()->paramSetValue(handle(index), static_cast<int>(value));
}

void Parameters::setBool(bool value, int index, double time) {
    host_.parameterSuite()->paramSetValueAtTime(handle(index), time, value ? 1 : 0);
}

void Parameters::setBool(bool value, int index) {
    host_.parameterSuite()->paramSetValue(handle(index), value ? 1 : 0);
}

void Parameters::setRGB(const Param::RGBValue& value, int index, double time) {
    host_.parameterSuite()->paramSetValueAtTime(handle(index), time, value.r, value.g, value.b);
}

void Parameters::setRGB(const Param::RGBValue& value, int index) {
    host_.parameterSuite()->paramSetValue(handle(index), value.r, value.g, value.b);
}

void Parameters::set2D(const Param::Double2D& value, int index, double time) {
    host_.parameterSuite()->paramSetValueAtTime(handle(index), time, value.x, value.y);
}

void Parameters::set2D(const Param::Double2D& value, int index) {
    host_.parameterSuite()->paramSetValue(handle(index), value.x, value.y);
}

void Parameters::setString(const std::string& value, int index, double time) {
    host_.parameterSuite()->paramSetValueAtTime(handle(index), time, value.c_str());
}

void Parameters::setString(const std::string& value, int index) {
    host_.parameterSuite()->paramSetValue(handle(index), value.c_str());
}

void Parameters::setEnabled(bool enabled, int index) {
    OfxPropertySetHandle props = nullptr;
    handle(index, &props);
    const OfxStatus status =
        host_.propertySuite()->propSetInt(props, kOfxParamPropEnabled, 0, enabled ? 1 : 0);
    if (status != kOfxStatOK)
        throw Error{status};
}

} // namespace OFX
} // namespace Host
} // namespace VX
