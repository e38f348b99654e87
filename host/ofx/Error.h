#pragma once

#include "ofx/ofxCore.h"

namespace VX {
namespace Host {
namespace OFX {

// Ends the current action with an OpenFX status. Thrown anywhere in the
// bridge; the dispatcher returns the status to the host without a message.
struct Error {
    OfxStatus status;
};

} // namespace OFX
} // namespace Host
} // namespace VX
