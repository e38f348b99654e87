#include "host/ofx/HostKind.h"

#include <cstring>

namespace VX {
namespace Host {
namespace OFX {

namespace {

bool equals(const char* name, const char* text) { return std::strcmp(name, text) == 0; }

// A prefix rule only matches when something follows the prefix: a host called
// exactly "Nucoda" is not a Nucoda build.
bool extends(const char* name, const char* prefix) {
    const std::size_t n = std::strlen(prefix);
    return std::strncmp(name, prefix, n) == 0 && name[n] != '\0';
}

} // namespace

HostKind classifyHost(const char* name) {
    if (name == nullptr)
        return kHostOther;
    // Order matters: the first matching rule decides. Nuke announces itself
    // as "uk.com.thefoundry.nuke" (whole name only) or with the
    // "uk.co.thefoundry." prefix; both spellings are in use.
    if (equals(name, "Assimilator"))
        return kHostAssimilator;
    if (equals(name, "com.sonycreativesoftware.vegas"))
        return kHostVegas;
    if (equals(name, "uk.com.thefoundry.nuke"))
        return kHostNuke;
    if (equals(name, "DaVinciResolve"))
        return kHostDaVinci;
    if (extends(name, "uk.co.thefoundry."))
        return kHostNuke;
    if (extends(name, "Nucoda"))
        return kHostNucoda;
    if (extends(name, "DaVinci"))
        return kHostDaVinci;
    return kHostOther;
}

} // namespace OFX
} // namespace Host
} // namespace VX
