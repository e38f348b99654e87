#pragma once

#include "PropertySet.h"

#include <string>
#include <vector>

namespace ofxhost {

// The properties of each kind of set the host hands out: names, types,
// dimensions (0 = variable) and defaults, as the OpenFX standard lists them.
namespace schema {

const Schema& imageEffectHost();
const Schema& effectDescriptor();
const Schema& effectInstance();
const Schema& clipDescriptor();
const Schema& clipInstance();
const Schema& image();
const Schema& parameterSet();
// The descriptor schema of a parameter type (kOfxParamType...), or null when
// the host does not know the type.
const Schema* paramDescriptor(const std::string& paramType);
// Every parameter type the host can define.
std::vector<std::string> paramTypes();

} // namespace schema
} // namespace ofxhost
