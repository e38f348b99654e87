// Resident memory from Linux's /proc: VmRSS and VmHWM of this process, and
// clear_refs to start a new peak.
#include "BenchSupport.h"

#include <fstream>
#include <sstream>
#include <string>

namespace sqbench {

Resident residentMemory() {
    Resident r;
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        std::istringstream fields(line);
        std::string key;
        std::uint64_t kib = 0;
        fields >> key >> kib;
        if (key == "VmRSS:")
            r.now = kib * 1024;
        else if (key == "VmHWM:")
            r.peak = kib * 1024;
    }
    return r;
}

bool resetPeakResident() {
    std::ofstream clear("/proc/self/clear_refs");
    clear << "5";
    clear.flush();
    return bool(clear);
}

} // namespace sqbench
