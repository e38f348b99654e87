// ofx-inspect: loads OpenFX plug-in binaries in our host and prints what the
// host sees: the plug-in records, the descriptor properties, and the clips and
// parameters defined in each context.

#include "Host.h"
#include "Plugin.h"
#include "PropertySchema.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using ofxhost::PropertySet;

const char* const kUsage =
    "usage: ofx-inspect [--host-name NAME] [--context filter|general|...] <bundle-or-.ofx>...\n";

struct Options {
    std::string hostName;
    std::string context;
    std::vector<std::string> paths;
};

// A failure that ends the run with its one-line reason.
struct Failure {
    std::string reason;
};

std::string contextName(const std::string& shortName) {
    static const std::pair<const char*, const char*> names[] = {
        {"filter", kOfxImageEffectContextFilter},
        {"general", kOfxImageEffectContextGeneral},
        {"generator", kOfxImageEffectContextGenerator},
        {"transition", kOfxImageEffectContextTransition},
        {"paint", kOfxImageEffectContextPaint},
        {"retimer", kOfxImageEffectContextRetimer},
    };
    for (const auto& n : names) {
        if (shortName == n.first || shortName == n.second) {
            return n.second;
        }
    }
    throw Failure{"unknown context '" + shortName + "'"};
}

// "OfxImageEffectContextFilter" -> "Filter", for compact lists.
std::string shortText(const std::string& value) {
    static const char* const prefixes[] = {"OfxImageEffectContext", "OfxBitDepth",
                                           "OfxImageComponent",     "OfxImageEffectRender",
                                           "OfxParamType",          "OfxParamDoubleType"};
    for (const char* prefix : prefixes) {
        const std::string p = prefix;
        if (value.size() > p.size() && value.compare(0, p.size(), p) == 0) {
            return value.substr(p.size());
        }
    }
    return value;
}

std::string list(const std::vector<std::string>& values) {
    if (values.empty()) {
        return "(none)";
    }
    std::string out;
    for (const std::string& v : values) {
        out += (out.empty() ? "" : ", ") + shortText(v);
    }
    return out;
}

std::string valueOf(const PropertySet& props, const char* name) {
    if (!props.has(name)) {
        return "(not defined)";
    }
    if (props.dimension(name) == 0) {
        return "(not set)";
    }
    if (props.type(name) == ofxhost::PropType::String) {
        const std::string text = list(props.getStrings(name));
        return text.empty() ? "(empty)" : text;
    }
    return props.valueText(name);
}

void line(const std::string& indent, const std::string& key, const std::string& value) {
    std::string k = key + ':';
    if (k.size() < 22) {
        k.resize(22, ' ');
    }
    std::cout << indent << k << ' ' << value << '\n';
}

bool failed(OfxStatus status) { return status != kOfxStatOK && status != kOfxStatReplyDefault; }

void check(OfxStatus status, const std::string& what) {
    if (failed(status)) {
        throw Failure{what + " answered " + ofxhost::statusName(status)};
    }
}

void printDescriptor(const PropertySet& props) {
    const std::string in = "    ";
    const std::pair<const char*, const char*> shown[] = {
        {"label", kOfxPropLabel},
        {"short label", kOfxPropShortLabel},
        {"long label", kOfxPropLongLabel},
        {"version", kOfxPropVersion},
        {"version label", kOfxPropVersionLabel},
        {"grouping", kOfxImageEffectPluginPropGrouping},
        {"description", kOfxPropPluginDescription},
        {"contexts", kOfxImageEffectPropSupportedContexts},
        {"pixel depths", kOfxImageEffectPropSupportedPixelDepths},
        {"render thread safety", kOfxImageEffectPluginRenderThreadSafety},
        {"host frame threading", kOfxImageEffectPluginPropHostFrameThreading},
        {"multiple clip depths", kOfxImageEffectPropSupportsMultipleClipDepths},
        {"field render twice", kOfxImageEffectPluginPropFieldRenderTwiceAlways},
        {"temporal clip access", kOfxImageEffectPropTemporalClipAccess},
        {"OpenGL render", kOfxImageEffectPropOpenGLRenderSupported},
    };
    std::set<std::string> listed{kOfxPropType, kOfxPluginPropFilePath};
    for (const auto& entry : shown) {
        line(in, entry.first, valueOf(props, entry.second));
        listed.insert(entry.second);
    }
    // Anything else the plug-in changed from the descriptor's defaults.
    PropertySet defaults(ofxhost::schema::effectDescriptor(), nullptr);
    for (const std::string& name : props.names()) {
        if (listed.count(name) != 0) {
            continue;
        }
        const std::string value = props.valueText(name, true);
        if (!defaults.has(name) || defaults.valueText(name, true) != value) {
            line(in, name, value);
        }
    }
}

void printClips(const ofxhost::EffectDescriptor& d) {
    std::cout << "      clips:\n";
    if (d.clips().empty()) {
        std::cout << "        (none)\n";
    }
    for (const auto& clip : d.clips()) {
        const PropertySet& p = clip->properties();
        std::cout << "        " << clip->name() << ": components "
                  << list(p.getStrings(kOfxImageEffectPropSupportedComponents)) << "; optional "
                  << p.getInt(kOfxImageClipPropOptional) << "; mask "
                  << p.getInt(kOfxImageClipPropIsMask) << "; temporal access "
                  << p.getInt(kOfxImageEffectPropTemporalClipAccess) << "; tiles "
                  << p.getInt(kOfxImageEffectPropSupportsTiles) << "; field extraction "
                  << shortText(p.getString(kOfxImageClipPropFieldExtraction)) << '\n';
    }
}

void printParams(const ofxhost::EffectDescriptor& d) {
    std::cout << "      parameters:\n";
    if (d.params().params().empty()) {
        std::cout << "        (none)\n";
    }
    for (const auto& param : d.params().params()) {
        const PropertySet& p = param->properties();
        std::ostringstream out;
        out << "        " << param->name() << " (" << shortText(param->type()) << ")";
        out << " label \"" << p.getString(kOfxPropLabel) << '"';
        if (p.has(kOfxParamPropDefault)) {
            out << "; default " << p.valueText(kOfxParamPropDefault, true);
        }
        if (p.has(kOfxParamPropMin)) {
            out << "; range [" << p.valueText(kOfxParamPropMin) << " .. "
                << p.valueText(kOfxParamPropMax) << "]";
            const std::string display = p.valueText(kOfxParamPropDisplayMin) + " .. " +
                                        p.valueText(kOfxParamPropDisplayMax);
            if (display != p.valueText(kOfxParamPropMin) + " .. " + p.valueText(kOfxParamPropMax)) {
                out << "; display [" << display << "]";
            }
        }
        if (p.has(kOfxParamPropChoiceOption) && p.dimension(kOfxParamPropChoiceOption) > 0) {
            out << "; options " << p.valueText(kOfxParamPropChoiceOption, true);
        }
        if (!p.getString(kOfxParamPropParent).empty()) {
            out << "; parent " << p.getString(kOfxParamPropParent);
        }
        if (p.getInt(kOfxParamPropSecret) != 0) {
            out << "; secret";
        }
        const std::string hint = p.getString(kOfxParamPropHint);
        if (!hint.empty()) {
            out << "; hint \"" << hint << '"';
        }
        std::cout << out.str() << '\n';
    }
}

void inspectPlugin(ofxhost::Plugin& plugin, ofxhost::Host& host, const Options& options) {
    std::cout << "\n[" << plugin.index() << "] " << plugin.identifier() << "  (version "
              << plugin.versionMajor() << '.' << plugin.versionMinor() << ")\n";
    line("    ", "API", plugin.pluginApi() + " " + std::to_string(plugin.apiVersion()));
    if (!plugin.isSupported()) {
        // Records of other APIs are not for an image effect host; say why
        // and go on with the others.
        line("    ", "not loaded", plugin.whyUnusable());
        return;
    }
    check(plugin.load(host), "OfxActionLoad of '" + plugin.identifier() + "'");
    check(plugin.describe(), "OfxActionDescribe of '" + plugin.identifier() + "'");
    const PropertySet& props = plugin.descriptor()->properties();
    printDescriptor(props);

    const std::vector<std::string> supported =
        props.getStrings(kOfxImageEffectPropSupportedContexts);
    std::vector<std::string> contexts;
    if (!options.context.empty()) {
        const std::string wanted = contextName(options.context);
        if (std::find(supported.begin(), supported.end(), wanted) == supported.end()) {
            throw Failure{"'" + plugin.identifier() + "' does not support the context " + wanted};
        }
        contexts.push_back(wanted);
    } else {
        for (const std::string& c : supported) {
            const auto& ours = host.config().contexts;
            if (std::find(ours.begin(), ours.end(), c) != ours.end()) {
                contexts.push_back(c);
            }
        }
    }
    for (const std::string& context : contexts) {
        const OfxStatus st = plugin.describeInContext(context);
        std::cout << "    context " << shortText(context) << ": " << ofxhost::statusName(st)
                  << '\n';
        check(st, "OfxImageEffectActionDescribeInContext(" + context + ") of '" +
                      plugin.identifier() + "'");
        const ofxhost::EffectDescriptor& d = *plugin.contextDescriptor(context);
        printClips(d);
        printParams(d);
    }
    check(plugin.unload(), "OfxActionUnload of '" + plugin.identifier() + "'");
}

void printMessages(const ofxhost::Host& host) {
    for (const auto& m : host.messages()) {
        std::cout << "    message " << m.type << (m.id ? " [" + *m.id + "]" : std::string()) << ": "
                  << m.text << '\n';
    }
}

int run(const Options& options) {
    ofxhost::HostConfig config;
    if (!options.hostName.empty()) {
        bool preset = false;
        for (const std::string& name : ofxhost::hostPresetNames()) {
            preset = preset || name == options.hostName;
        }
        if (preset) {
            config = ofxhost::hostPreset(options.hostName);
        } else {
            config.name = options.hostName;
        }
    }
    for (const std::string& path : options.paths) {
        ofxhost::Host host(config);
        std::unique_ptr<ofxhost::PluginLibrary> library;
        try {
            library = ofxhost::PluginLibrary::open(path);
        } catch (const ofxhost::Error& e) {
            throw Failure{e.what()};
        }
        std::cout << path << '\n';
        line("  ", "binary", library->binary());
        line("  ", "host", host.config().name);
        line("  ", "plug-ins", std::to_string(library->pluginCount()));
        for (int i = 0; i < library->pluginCount(); ++i) {
            try {
                inspectPlugin(library->plugin(i), host, options);
            } catch (const ofxhost::Error& e) {
                printMessages(host);
                throw Failure{e.what()};
            } catch (const Failure&) {
                printMessages(host);
                throw;
            }
            printMessages(host);
            host.clearRecords();
        }
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    try {
        for (int i = 1; i < argc; ++i) {
            const std::string arg = argv[i];
            if (arg == "--help" || arg == "-h") {
                std::cout << kUsage;
                return 0;
            }
            if (arg == "--host-name" || arg == "--context") {
                if (i + 1 >= argc) {
                    throw Failure{arg + " needs a value"};
                }
                (arg == "--host-name" ? options.hostName : options.context) = argv[++i];
            } else if (arg.size() > 1 && arg[0] == '-') {
                throw Failure{"unknown option '" + arg + "'"};
            } else {
                options.paths.push_back(arg);
            }
        }
        if (options.paths.empty()) {
            std::cerr << kUsage;
            return 2;
        }
        if (!options.context.empty()) {
            contextName(options.context);
        }
        return run(options);
    } catch (const Failure& f) {
        std::cout.flush();
        std::cerr << "ofx-inspect: " << f.reason << '\n';
        return 1;
    } catch (const std::exception& e) {
        std::cout.flush();
        std::cerr << "ofx-inspect: " << e.what() << '\n';
        return 1;
    }
}
