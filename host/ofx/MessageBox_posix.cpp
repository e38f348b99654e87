// Message boxes where the system has none: the user reads standard error.
#if !defined(_WIN32)

#include "host/ofx/Messages.h"

#include <cstdio>

namespace VX {
namespace Host {
namespace OFX {

int showMessageBox(void* /*owner*/, const char* text, const char* caption,
                   std::uint32_t /*flags*/) {
    std::fprintf(stderr, "%s: %s\n", caption ? caption : "", text ? text : "");
    std::fflush(stderr);
    return kMsgResultOkYes;
}

bool isOwnerWindow(void* /*handle*/) {
    // No window system to check the handle against: never hand it on.
    return false;
}

} // namespace OFX
} // namespace Host
} // namespace VX

#endif
