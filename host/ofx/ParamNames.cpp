#include "host/ofx/ParamNames.h"

namespace VX {
namespace Host {
namespace OFX {

namespace {

// The first entry for `code` whose `pick` is not null; later entries with the
// same code may fill what earlier ones leave out.
template <class Pick>
const char* firstWith(const ParamIdEntry* table, std::uint32_t code, Pick pick) {
    if (table == nullptr || code == 0)
        return nullptr;
    for (const ParamIdEntry* e = table; e->code != 0; ++e)
        if (e->code == code)
            if (const char* text = pick(*e))
                return text;
    return nullptr;
}

} // namespace

std::string paramIdentifier(const ParamIdEntry* table, const Param::ParameterDef& record) {
    const char* id =
        firstWith(table, record.code, [](const ParamIdEntry& e) { return e.identifier; });
    return id ? id : record.name;
}

std::string paramLabel(const ParamIdEntry* table, const Param::ParameterDef& record,
                       bool hostHasPages) {
    const char* label = firstWith(table, record.code, [&](const ParamIdEntry& e) {
        return hostHasPages && e.pageLabel ? e.pageLabel : e.label;
    });
    return label ? label : record.name;
}

const char* paramHint(const ParamIdEntry* table, const Param::ParameterDef& record) {
    if (table == nullptr || record.code == 0)
        return nullptr;
    // Only the first entry with the code speaks for the hint.
    for (const ParamIdEntry* e = table; e->code != 0; ++e)
        if (e->code == record.code)
            return e->hint;
    return nullptr;
}

} // namespace OFX
} // namespace Host
} // namespace VX
