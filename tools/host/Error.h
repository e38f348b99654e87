#pragma once

#include <stdexcept>
#include <string>

namespace ofxhost {

// Everything the host refuses to do (a plug-in that cannot be loaded, a record
// that is not an image effect, a property that is missing) is reported with
// this, carrying a message that names what failed and why.
class Error : public std::runtime_error {
public:
    explicit Error(const std::string& message) : std::runtime_error(message) {}
};

} // namespace ofxhost
