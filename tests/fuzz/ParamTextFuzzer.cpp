// libFuzzer target: the parameter text file reader, on any bytes.
//
// The set has a record of every type with a value, two records sharing a
// name and a disabled one, so that every way of applying a value is
// reached. Beyond what the sanitizers see, reading must not depend on what
// was read before: the same text read twice gives the same values.
#include "host/param/ParameterDef.h"
#include "host/param/Parameters.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using namespace VX::Host::Param;

void fill(Parameters& set) {
    set.append(makeIntParam("Count", 0, 3, -10, 10, -10, 10));
    set.append(makeDoubleParam("Quirk Time", 0, 3.0, 1.0, 100.0, 1.0, 100.0));
    set.append(makeBoolParam("Unmasked", 0, false));
    set.append(makeStringParam("Title", 0, "a\"b\\c"));
    set.append(makeChoiceParam("Mode", 0, {"one", "two"}, 1));
    ParameterDef second = makeStringParam("Note", 0, "");
    second.type = kParamTypeString2;
    set.append(second);
    set.append(makeRGBParam("Tint", 0, {0.25, 0.5, 0.75}));
    set.append(make2DParam("Centre", 0, {0.5, 0.5}, {0, 0}, {1, 1}));
    set.append(makeGroupStart("Group", 0));
    set.append(makeGroupEnd());
    set.append(makeLayerParam("Matte", 0));
    set.append(makePushButton("Go", 0));
    set.append(makeDoubleParam("Count", 0, 1.0, 0.0, 2.0, 0.0, 2.0)); // the same name again
    set.append(makeBoolParam("Hidden", 0, true, kParamDisabled));
}

// Reads `data` as a file into a fresh set.
std::vector<ParameterDef> read(const std::uint8_t* data, std::size_t size) {
    Parameters set;
    fill(set);
    // fmemopen takes no empty buffer: an empty file is a null one.
    std::FILE* file = size > 0 ? fmemopen(const_cast<std::uint8_t*>(data), size, "r") : nullptr;
    set.loadFrom(file);
    if (file != nullptr)
        std::fclose(file);
    std::vector<ParameterDef> records;
    for (int i = 0; i < set.count(); ++i)
        records.push_back(set.record(i));
    return records;
}

bool sameValue(const ParamValue& a, const ParamValue& b) {
    // Bitwise: a NaN read twice is the same NaN.
    return std::memcmp(a.numbers, b.numbers, sizeof a.numbers) == 0 && a.text == b.text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<ParameterDef> first = read(data, size);
    const std::vector<ParameterDef> second = read(data, size);
    for (std::size_t i = 0; i < first.size(); ++i)
        if (!sameValue(first[i].value, second[i].value))
            std::abort();
    return 0;
}
