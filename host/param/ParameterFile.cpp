// The parameter text file: a header of plug-in name and version, then one
// "name: value" line per parameter that has a value.

#include "host/param/ParamText.h"
#include "host/param/Parameters.h"
#include "host/param/WidePath.h"

#include <cstdio>
#include <memory>
#include <string>

namespace VX {
namespace Host {
namespace Param {

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

void writeLine(std::FILE* file, const std::string& name, const std::string& value) {
    const std::string line = name + ": " + value + "\n";
    std::fwrite(line.data(), 1, line.size(), file);
}

} // namespace

void Parameters::save(const std::wstring& path, const char* pluginName, const char* versionNumber) {
    const FileHandle file(openWidePath(path, true));
    if (!file) {
        return;
    }
    writeLine(file.get(), "Plugin Name", pluginName ? pluginName : "");
    writeLine(file.get(), "Version Number", versionNumber ? versionNumber : "");
    for (const ParameterDef& def : records_) {
        if (Text::isWritten(def)) {
            writeLine(file.get(), def.name, Text::formatValue(def));
        }
    }
}

void Parameters::load(const std::wstring& path) {
    // An unopened file is read like an empty one (see loadFrom).
    const FileHandle file(openWidePath(path, false));
    loadFrom(file.get());
}

void Parameters::loadFrom(std::FILE* file) {
    // A null file is read like an empty one: the header read fails, the
    // values still go back to their defaults, and the loop below never runs.
    Text::FieldReader reader(file);

    // The header's plug-in name is not checked: a file from another plug-in
    // applies by parameter name like any other.
    std::string name;
    std::string value;
    if (reader.read(name, ':')) {
        reader.read(value, '\n');
    }

    resetToDefaults();

    // The reader fails once the file has ended, and on any damage (a field
    // over-long, a read error), so that nothing keeps the loop spinning. A
    // line applies only when both its name and its value were read. The
    // version line comes through here as an ordinary parameter line.
    while (reader.read(name, ':') && reader.read(value, '\n')) {
        Text::trimRight(name);
        Text::trimRight(value);
        Text::trimLeft(value);
        for (ParameterDef& def : records_) {
            if (def.name == name) {
                Text::applyValue(def, value);
            }
        }
    }
}

} // namespace Param
} // namespace Host
} // namespace VX
