#include "Params.h"

#include "Descriptors.h"
#include "Error.h"

#include "ofx/ofxParam.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

namespace ofxrender {

namespace {

std::vector<double> numbers(const ofxhost::PropertySet& props, const char* name) {
    std::vector<double> out;
    if (!props.has(name)) {
        return out;
    }
    if (props.type(name) == ofxhost::PropType::Int) {
        for (int v : props.getInts(name)) {
            out.push_back(v);
        }
    } else if (props.type(name) == ofxhost::PropType::Double) {
        out = props.getDoubles(name);
    }
    return out;
}

std::string number(double v, bool integer) {
    if (integer || (std::floor(v) == v && std::fabs(v) < 1e15)) {
        return std::to_string(static_cast<long long>(v));
    }
    char text[32];
    std::snprintf(text, sizeof text, "%g", v);
    return text;
}

// Descriptors without a range hold the extremes of their type.
bool unbounded(double v) { return std::fabs(v) >= static_cast<double>(INT32_MAX); }

std::string lower(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return out;
}

std::string trim(std::string_view text) {
    std::size_t a = 0;
    std::size_t b = text.size();
    while (a < b && std::isspace(static_cast<unsigned char>(text[a])) != 0) {
        ++a;
    }
    while (b > a && std::isspace(static_cast<unsigned char>(text[b - 1])) != 0) {
        --b;
    }
    return std::string(text.substr(a, b - a));
}

std::optional<double> parseNumber(const std::string& text, bool integer) {
    const std::string t = trim(text);
    if (t.empty()) {
        return std::nullopt;
    }
    const char* first = t.data() + (t[0] == '+' ? 1 : 0);
    const char* end = t.data() + t.size();
    if (integer) {
        long long v = 0;
        const auto r = std::from_chars(first, end, v);
        if (r.ec != std::errc() || r.ptr != end || v < INT32_MIN || v > INT32_MAX) {
            return std::nullopt;
        }
        return static_cast<double>(v);
    }
    double v = 0.0;
    const auto r = std::from_chars(first, end, v);
    if (r.ec != std::errc() || r.ptr != end || !std::isfinite(v)) {
        return std::nullopt;
    }
    return v;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (;;) {
        const std::size_t at = text.find(separator, start);
        parts.push_back(text.substr(start, at - start));
        if (at == std::string::npos) {
            return parts;
        }
        start = at + 1;
    }
}

} // namespace

std::string shortType(const std::string& type) {
    const std::string prefix = "OfxParamType";
    return type.compare(0, prefix.size(), prefix) == 0 ? type.substr(prefix.size()) : type;
}

std::string acceptedValues(const ParamInfo& p) {
    if (p.dimension == 0) {
        return "no value (it is a " + shortType(p.type) + ")";
    }
    if (p.type == kOfxParamTypeBoolean) {
        return "true/false (or 1/0)";
    }
    if (p.type == kOfxParamTypeChoice || p.type == kOfxParamTypeStrChoice) {
        std::string out = "one of ";
        for (std::size_t i = 0; i < p.options.size(); ++i) {
            out += (i == 0 ? "" : ", ") + std::string("'") + p.options[i] + "'";
        }
        if (p.type == kOfxParamTypeChoice && !p.options.empty()) {
            out += " (or its index 0.." + std::to_string(p.options.size() - 1) + ")";
        }
        return p.options.empty() ? "a choice (no options declared)" : out;
    }
    if (p.type == kOfxParamTypeString || p.type == kOfxParamTypeCustom) {
        return "any text";
    }
    const std::string what = p.integer ? "a whole number" : "a number";
    std::string range;
    const bool sameRange =
        std::all_of(p.min.begin(), p.min.end(), [&](double v) { return v == p.min.front(); }) &&
        std::all_of(p.max.begin(), p.max.end(), [&](double v) { return v == p.max.front(); });
    if (!p.min.empty() && !p.max.empty() && sameRange) {
        const double lo = p.min.front();
        const double hi = p.max.front();
        if (!unbounded(lo) && !unbounded(hi)) {
            range = " from " + number(lo, p.integer) + " to " + number(hi, p.integer);
        } else if (!unbounded(lo)) {
            range = " of at least " + number(lo, p.integer);
        } else if (!unbounded(hi)) {
            range = " of at most " + number(hi, p.integer);
        }
    } else if (!p.min.empty()) {
        range = " per component in [";
        for (std::size_t i = 0; i < p.min.size() && i < p.max.size(); ++i) {
            range += (i == 0 ? "" : "; ") + number(p.min[i], p.integer) + ".." +
                     number(p.max[i], p.integer);
        }
        range += "]";
    }
    if (p.dimension > 1) {
        return std::to_string(p.dimension) + " comma-separated values, each " + what + range;
    }
    return what + range;
}

std::string defaultText(const ParamInfo& p) {
    if (p.dimension == 0) {
        return "";
    }
    if (p.type == kOfxParamTypeString || p.type == kOfxParamTypeCustom ||
        p.type == kOfxParamTypeStrChoice) {
        return "\"" + p.defaultText + "\"";
    }
    if (p.type == kOfxParamTypeBoolean) {
        return !p.defaults.empty() && p.defaults[0] != 0.0 ? "true" : "false";
    }
    if (p.type == kOfxParamTypeChoice && !p.defaults.empty()) {
        const auto index = static_cast<std::size_t>(p.defaults[0]);
        return index < p.options.size() ? "'" + p.options[index] + "'"
                                        : number(p.defaults[0], true);
    }
    std::string out;
    for (std::size_t i = 0; i < p.defaults.size(); ++i) {
        out += (i == 0 ? "" : ",") + number(p.defaults[i], p.integer);
    }
    return out;
}

std::vector<ParamInfo> describeParams(const ofxhost::EffectDescriptor& descriptor) {
    std::vector<ParamInfo> out;
    for (const auto& param : descriptor.params().params()) {
        const ofxhost::PropertySet& props = param->properties();
        ParamInfo p;
        p.name = param->name();
        p.type = param->type();
        p.label = props.has(kOfxPropLabel) ? props.getString(kOfxPropLabel) : p.name;
        const ofxhost::ParamValueKind kind = ofxhost::paramValueKind(p.type);
        p.dimension = kind.kind == ofxhost::ParamValueKind::Kind::None ? 0 : kind.dimension;
        p.integer = kind.kind == ofxhost::ParamValueKind::Kind::Int;
        if (kind.kind == ofxhost::ParamValueKind::Kind::Text) {
            if (props.has(kOfxParamPropDefault) && props.dimension(kOfxParamPropDefault) > 0 &&
                props.type(kOfxParamPropDefault) == ofxhost::PropType::String) {
                p.defaultText = props.getString(kOfxParamPropDefault);
            }
        } else {
            p.defaults = numbers(props, kOfxParamPropDefault);
        }
        if (p.type != kOfxParamTypeBoolean && p.type != kOfxParamTypeChoice) {
            p.min = numbers(props, kOfxParamPropMin);
            p.max = numbers(props, kOfxParamPropMax);
        }
        if (props.has(kOfxParamPropChoiceOption)) {
            p.options = props.getStrings(kOfxParamPropChoiceOption);
        }
        if (props.has(kOfxParamPropHint)) {
            p.hint = props.getString(kOfxParamPropHint);
        }
        p.secret = props.has(kOfxParamPropSecret) && props.getInt(kOfxParamPropSecret) != 0;
        p.animates = !props.has(kOfxParamPropAnimates) || props.getInt(kOfxParamPropAnimates) != 0;
        out.push_back(std::move(p));
    }
    return out;
}

namespace {

bool isText(const ParamInfo& p) {
    return p.type == kOfxParamTypeString || p.type == kOfxParamTypeCustom ||
           p.type == kOfxParamTypeStrChoice;
}

// One value of `p` as typed; `reject` makes the error for a bad one.
template <typename Reject>
ofxhost::ParamValue parseValue(const ParamInfo& p, const std::string& value, Reject reject) {
    ofxhost::ParamValue out;
    if (p.type == kOfxParamTypeString || p.type == kOfxParamTypeCustom) {
        out.text = value;
        return out;
    }
    if (p.type == kOfxParamTypeStrChoice) {
        if (std::find(p.options.begin(), p.options.end(), value) == p.options.end()) {
            throw reject("'" + value + "' is not an option");
        }
        out.text = value;
        return out;
    }
    if (p.type == kOfxParamTypeBoolean) {
        const std::string v = lower(trim(value));
        if (v == "true" || v == "1") {
            out.numbers = {1.0};
        } else if (v == "false" || v == "0") {
            out.numbers = {0.0};
        } else {
            throw reject("'" + value + "' is not a boolean");
        }
        return out;
    }
    if (p.type == kOfxParamTypeChoice) {
        for (std::size_t i = 0; i < p.options.size(); ++i) {
            if (lower(p.options[i]) == lower(trim(value))) {
                out.numbers = {static_cast<double>(i)};
                return out;
            }
        }
        const auto index = parseNumber(value, true);
        if (!index || *index < 0 || *index >= static_cast<double>(p.options.size())) {
            throw reject("'" + value + "' is not an option");
        }
        out.numbers = {*index};
        return out;
    }

    const std::vector<std::string> parts = split(value, ',');
    if (static_cast<int>(parts.size()) != p.dimension) {
        throw reject("expected " + std::to_string(p.dimension) + " value" +
                     (p.dimension == 1 ? "" : "s") + ", got " + std::to_string(parts.size()));
    }
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const auto v = parseNumber(parts[i], p.integer);
        if (!v) {
            throw reject("'" + trim(parts[i]) + "' is not " +
                         (p.integer ? "a whole number" : "a number"));
        }
        if ((i < p.min.size() && *v < p.min[i]) || (i < p.max.size() && *v > p.max[i])) {
            throw reject(trim(parts[i]) + " is out of range");
        }
        out.numbers.push_back(*v);
    }
    return out;
}

} // namespace

ParamSetting parseSetting(std::string_view assignment, const std::vector<ParamInfo>& params) {
    const std::size_t eq = assignment.find('=');
    if (eq == std::string_view::npos || eq == 0) {
        throw usageError("--set " + std::string(assignment) + ": expected name=value");
    }
    const std::string name = trim(assignment.substr(0, eq));
    const std::string value(assignment.substr(eq + 1));
    const auto it = std::find_if(params.begin(), params.end(),
                                 [&](const ParamInfo& p) { return p.name == name; });
    if (it == params.end()) {
        std::string known;
        for (const ParamInfo& p : params) {
            if (p.dimension > 0 && !p.secret) {
                known += (known.empty() ? "" : ", ") + p.name;
            }
        }
        throw usageError("--set " + std::string(assignment) + ": unknown parameter '" + name +
                         "' (known: " + (known.empty() ? "none" : known) + ")");
    }
    const ParamInfo& p = *it;
    auto reject = [&](const std::string& why) {
        return usageError("--set " + std::string(assignment) + ": " + why + "; " + p.name + " (" +
                          shortType(p.type) + ") takes " + acceptedValues(p));
    };
    if (p.dimension == 0) {
        throw reject("parameter '" + p.name + "' has no value");
    }

    ParamSetting setting{p.name, {}, {}};
    // Text may hold '@' itself: only other values are keyed.
    if (isText(p) || value.find('@') == std::string::npos) {
        setting.value = parseValue(p, value, reject);
        return setting;
    }

    // Keys, "value@frame,value@frame...": a value of several components
    // ends at the component that carries the frame ("1,0,0@1,0,1,0@48").
    auto keyError = [&](const std::string& why) {
        return usageError("--set " + std::string(assignment) + ": " + why +
                          "; keys are value@frame, separated by commas, e.g. " + p.name + "=" +
                          (p.type == kOfxParamTypeBoolean ? "false@1,true@10" : "0@1,100@48"));
    };
    if (!p.animates) {
        throw usageError("--set " + std::string(assignment) + ": " + p.name + " (\"" + p.label +
                         "\") cannot be animated: the effect holds one value over the whole "
                         "clip; give it one value, e.g. " +
                         p.name + "=" + defaultText(p));
    }
    const std::vector<std::string> parts = split(value, ',');
    std::string pending;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const std::size_t at = parts[i].find('@');
        if (at == std::string::npos) {
            pending += parts[i] + ",";
            continue;
        }
        const std::string frame = trim(parts[i].substr(at + 1));
        const auto time = parseNumber(frame, false);
        if (!time) {
            throw keyError("'" + frame + "' is not a frame");
        }
        ParamKey key;
        key.time = *time;
        key.value = parseValue(p, pending + parts[i].substr(0, at), reject);
        pending.clear();
        for (const ParamKey& k : setting.keys) {
            if (k.time == key.time) {
                throw keyError("two keys at frame " + frame);
            }
        }
        setting.keys.push_back(std::move(key));
    }
    if (!pending.empty()) {
        pending.pop_back();
        throw keyError("'" + pending + "' has no @frame");
    }
    std::sort(setting.keys.begin(), setting.keys.end(),
              [](const ParamKey& a, const ParamKey& b) { return a.time < b.time; });
    setting.value = setting.keys.front().value;
    return setting;
}

} // namespace ofxrender
