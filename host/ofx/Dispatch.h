#pragma once

#include "ofx/ofxCore.h"

namespace VX {
namespace Host {
namespace OFX {

class Host;

// Sends `action` to the matching operation of `effect` and turns whatever it
// throws into a status, posting a message where the user should know.
// Strings are compared whole: a string that matches no action answers
// kOfxStatOK.
OfxStatus dispatch(Host& effect, const char* action);

} // namespace OFX
} // namespace Host
} // namespace VX
