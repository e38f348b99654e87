#pragma once

namespace VX {
namespace Host {
namespace OFX {

// Hosts whose behaviour differs from the standard in ways the bridge must
// work around. Recognised by the host's "OfxPropName".
enum HostKind {
    kHostAssimilator = 0,
    kHostVegas = 1,
    kHostNuke = 2,
    kHostNucoda = 3,
    kHostDaVinci = 4,
    kHostOther = 5,
};

// Classifies a host name. Null counts as an empty name.
HostKind classifyHost(const char* name);

} // namespace OFX
} // namespace Host
} // namespace VX
