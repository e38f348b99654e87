#pragma once

#include "host/ofx/Host.h"
#include "host/param/ParameterDef.h"

#include <string>

namespace VX {
namespace Host {
namespace OFX {

// How the host sees a parameter record, from the effect's identifier table
// (which may be null). A record without a code, or whose code the table does
// not know, falls back to its own name.
std::string paramIdentifier(const ParamIdEntry* table, const Param::ParameterDef& record);
std::string paramLabel(const ParamIdEntry* table, const Param::ParameterDef& record,
                       bool hostHasPages);
// Null when the table gives no hint.
const char* paramHint(const ParamIdEntry* table, const Param::ParameterDef& record);

} // namespace OFX
} // namespace Host
} // namespace VX
