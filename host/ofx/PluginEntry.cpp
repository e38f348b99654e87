#include "host/ofx/PluginEntry.h"

#include <atomic>

namespace VX {
namespace Host {
namespace OFX {

namespace {
// Written by setHost before any action; atomic so that actions arriving on
// other threads see the host the loading thread stored.
std::atomic<OfxHost*> gHost{nullptr};
} // namespace

void setStoredHost(OfxHost* host) { gHost.store(host); }

const OfxHost* storedHost() { return gHost.load(); }

} // namespace OFX
} // namespace Host
} // namespace VX
