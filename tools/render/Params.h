#pragma once

#include "Instance.h"

#include <string>
#include <string_view>
#include <vector>

namespace ofxhost {
class EffectDescriptor;
}

namespace ofxrender {

// What a person needs to know to set one parameter from the command line.
struct ParamInfo {
    std::string name;
    std::string label;
    std::string type;     // kOfxParamType...
    int dimension = 0;    // values it takes; 0 for groups, pages and buttons
    bool integer = false; // integer, boolean and choice values are whole numbers
    std::vector<double> defaults;
    std::vector<double> min; // per dimension; empty when the type has no range
    std::vector<double> max;
    std::string defaultText;          // string parameters
    std::vector<std::string> options; // choice parameters
    std::string hint;
    bool secret = false;
    bool animates = true; // takes keys (kOfxParamPropAnimates, 1 unless said)
};

// "Double", "Boolean", "RGBA"...: the type without its prefix.
std::string shortType(const std::string& type);
// What values the parameter takes, e.g. "a number from 1 to 100" or
// "true/false (or 1/0)".
std::string acceptedValues(const ParamInfo& param);
// The default as it would be typed after --set.
std::string defaultText(const ParamInfo& param);

std::vector<ParamInfo> describeParams(const ofxhost::EffectDescriptor& descriptor);

// A value at one frame: doubles go linearly from key to key, other types
// step; before the first key and after the last the value is held.
struct ParamKey {
    double time = 0.0;
    ofxhost::ParamValue value;
};

// A value to set on an instance before it renders: one value, or keys.
struct ParamSetting {
    std::string name;
    ofxhost::ParamValue value;  // with keys: the first key's
    std::vector<ParamKey> keys; // in time order; empty for a constant value
};

// Parses "name=value", or "name=value@frame,value@frame..." for keys, against
// the parameters of the effect. Throws RenderError (usage) with one line
// naming the parameter and what it takes for an unknown name, a value of the
// wrong type or one out of range, and for keys on a parameter that the effect
// does not let animate. Text values are never keyed: '@' is part of them.
ParamSetting parseSetting(std::string_view assignment, const std::vector<ParamInfo>& params);

} // namespace ofxrender
