#include "host/param/Parameters.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace VX {
namespace Host {
namespace Param {

Parameters::~Parameters() = default;

void Parameters::resetToDefaults() {
    for (int i = 0; i < count(); ++i) {
        ParameterDef& def = record(i);
        def.value = def.defaultValue;
        parameterChanged(i);
    }
}

void Parameters::refreshParameter(int /*index*/) {}

void Parameters::parameterChanged(int /*index*/) {}

void Parameters::refreshAllParameters() {
    for (int i = 0; i < count(); ++i) {
        refreshParameter(i);
    }
}

void Parameters::notifyAllParameters() {
    for (int i = 0; i < count(); ++i) {
        parameterChanged(i);
    }
}

void Parameters::assign(const Parameters& other) {
    if (this == &other) {
        return;
    }
    records_ = other.records_;
    auxTableA_ = other.auxTableA_;
    auxTableB_ = other.auxTableB_;
    auxWord64_ = other.auxWord64_;
    auxWord32_ = other.auxWord32_;
}

double Parameters::getDouble(int index, double /*time*/) const {
    return record(index).value.asDouble();
}

double Parameters::getDouble(int index) const { return record(index).value.asDouble(); }

std::int32_t Parameters::getInt(int index, double /*time*/) const {
    return record(index).value.asInt();
}

std::int32_t Parameters::getInt(int index) const { return record(index).value.asInt(); }

bool Parameters::getBool(int index, double /*time*/) const { return record(index).value.asBool(); }

bool Parameters::getBool(int index) const { return record(index).value.asBool(); }

RGBValue Parameters::getRGB(int index, double /*time*/) const {
    return record(index).value.asRGB();
}

RGBValue Parameters::getRGB(int index) const { return record(index).value.asRGB(); }

Double2D Parameters::get2D(int index, double /*time*/) const { return scaledFromHeld(index); }

Double2D Parameters::get2D(int index) const { return scaledFromHeld(index); }

std::string Parameters::getString(int index, double /*time*/) const {
    return record(index).value.text;
}

std::string Parameters::getString(int index) const { return record(index).value.text; }

void Parameters::setDouble(double value, int index, double /*time*/) {
    record(index).value.setDouble(value);
}

void Parameters::setDouble(double value, int index) {
    const ParameterDef& def = record(index);
    const double lo = def.min.asDouble();
    const double hi = def.max.asDouble();
    // Written as two comparisons so that a NaN falls through both and is
    // stored as it is.
    if (value < lo) {
        value = lo;
    } else if (value > hi) {
        value = hi;
    }
    record(index).value.setDouble(value);
}

void Parameters::setInt(std::int32_t value, int index, double /*time*/) {
    record(index).value.setInt(value);
}

void Parameters::setInt(std::int32_t value, int index) {
    const ParameterDef& def = record(index);
    const std::int32_t lo = def.min.asInt();
    const std::int32_t hi = def.max.asInt();
    record(index).value.setInt(value < lo ? lo : std::min(value, hi));
}

void Parameters::setBool(bool value, int index, double /*time*/) {
    record(index).value.setBool(value);
}

void Parameters::setBool(bool value, int index) { record(index).value.setBool(value); }

void Parameters::setRGB(const RGBValue& value, int index, double /*time*/) {
    record(index).value.setRGB(value);
}

void Parameters::setRGB(const RGBValue& value, int index) { record(index).value.setRGB(value); }

void Parameters::set2D(const Double2D& value, int index, double /*time*/) {
    storeScaled(value, index);
}

void Parameters::set2D(const Double2D& value, int index) { storeScaled(value, index); }

void Parameters::setString(const std::string& value, int index, double /*time*/) {
    record(index).value.text = value;
}

void Parameters::setString(const std::string& value, int index) {
    record(index).value.text = value;
}

void Parameters::setEnabled(bool /*enabled*/, int /*index*/) {}

void Parameters::getSizeScale(float& x, float& y) const {
    x = 1.0f;
    y = 1.0f;
}

Double2D Parameters::scaledFromHeld(int index) const {
    const ParameterDef& def = record(index);
    Double2D value = def.value.as2D();
    if ((def.flags & kParamScale) == 0) {
        float sx = 1.0f;
        float sy = 1.0f;
        getSizeScale(sx, sy);
        value.x *= static_cast<double>(sx);
        value.y *= static_cast<double>(sy);
    }
    return value;
}

void Parameters::storeScaled(const Double2D& value, int index) {
    ParameterDef& def = record(index);
    Double2D held = value;
    if ((def.flags & kParamScale) == 0) {
        float sx = 1.0f;
        float sy = 1.0f;
        getSizeScale(sx, sy);
        held.x /= static_cast<double>(sx);
        held.y /= static_cast<double>(sy);
    }
    def.value.set2D(held);
}

int Parameters::append(const ParameterDef& def) {
    records_.push_back(def);
    return count() - 1;
}

int Parameters::append(ParameterDef&& def) {
    records_.push_back(std::move(def));
    return count() - 1;
}

int Parameters::findLayer(int n) const {
    int seen = 0;
    for (int i = 0; i < count(); ++i) {
        if (record(i).type == kParamTypeLayer && ++seen == n) {
            return i;
        }
    }
    throw std::invalid_argument("Invalid layer");
}

} // namespace Param
} // namespace Host
} // namespace VX
