// ofx-inspect: loads OpenFX plug-in binaries in our host and prints what the
// host sees: the plug-in records, the descriptor properties, and the clips and
// parameters defined in each context. Plug-ins are named by their bundle (or
// binary), or by identifier and found where hosts look for them; with none
// named, every plug-in found is shown. --render proves that an effect renders
// in our host.

#include "Host.h"
#include "Plugin.h"
#include "PluginSearch.h"
#include "PropertySchema.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using ofxhost::PropertySet;

const char* const kUsage =
    "usage: ofx-inspect [--host-name NAME] [--context filter|general|...] [--render FRAME]\n"
    "                   [<bundle, .ofx or plug-in identifier>...]\n"
    "\n"
    "Identifiers, and every plug-in when none is named, are looked for in the folders\n"
    "of OFX_PLUGIN_PATH and in the standard OpenFX folder. --render FRAME renders that\n"
    "frame of a built-in test image through each effect that has a Source clip.\n";

struct Options {
    std::string hostName;
    std::string context;
    std::optional<double> renderFrame;
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

// A 64x36 test frame: a colour ramp with a bright spot, opaque. Effects that
// key on brightness have something to find.
ofxhost::ImageBuffer testFrame() {
    ofxhost::ImageBuffer frame({0, 0, 64, 36}, kOfxBitDepthFloat, kOfxImageComponentRGBA);
    frame.fill([](int x, int y, int c) {
        if (c == 3) {
            return 1.0f;
        }
        const float dx = static_cast<float>(x - 40) / 8.0f;
        const float dy = static_cast<float>(y - 18) / 8.0f;
        const float ramp = static_cast<float>(c == 0 ? x : c == 1 ? y * 2 : 63 - x) / 64.0f;
        return std::min(1.0f, 0.2f + 0.5f * ramp + std::exp(-(dx * dx + dy * dy)));
    });
    return frame;
}

void renderTestFrame(ofxhost::Plugin& plugin, const std::string& context, double frame) {
    OfxStatus created = kOfxStatOK;
    std::unique_ptr<ofxhost::EffectInstance> fx = plugin.createInstance(context, &created);
    if (fx == nullptr) {
        throw Failure{"'" + plugin.identifier() +
                      "' refused to create an instance: " + ofxhost::statusName(created)};
    }
    const ofxhost::ImageBuffer source = testFrame();
    fx->setClipFrames(kOfxImageEffectSimpleSourceClipName,
                      [&](OfxTime) { return std::optional<ofxhost::ImageDesc>(source.desc()); });
    const ofxhost::RenderResult r = fx->render(frame);
    std::ostringstream what;
    what << "render frame " << frame << " (" << shortText(context) << ", " << source.width() << 'x'
         << source.height() << " float RGBA)";
    if (r.status != kOfxStatOK || !r.output) {
        std::string step = "render";
        for (const auto& s : r.steps) {
            if (failed(s.status)) {
                step = s.action;
                break;
            }
        }
        throw Failure{what.str() + ": " + step + " answered " + ofxhost::statusName(r.status)};
    }
    int visible = 0;
    float alpha = 0.0f;
    const ofxhost::ImageBuffer& out = *r.output;
    const bool hasAlpha = out.componentCount() == 4 || out.componentCount() == 1;
    for (int y = out.bounds().y1; y < out.bounds().y2; ++y) {
        for (int x = out.bounds().x1; x < out.bounds().x2; ++x) {
            const float a = hasAlpha ? out.get(x, y, out.componentCount() - 1) : 1.0f;
            visible += a > 0.0f ? 1 : 0;
            alpha = std::max(alpha, a);
        }
    }
    std::cout << "    " << what.str() << ": OK, " << out.width() << 'x' << out.height() << ", "
              << visible << " of " << out.width() * out.height() << " pixels visible, alpha up to "
              << alpha << (r.identityClip ? " (the plug-in answered: identity)" : "") << '\n';
    if (fx->liveImages() != 0) {
        throw Failure{what.str() + ": the plug-in kept " + std::to_string(fx->liveImages()) +
                      " image(s) it fetched"};
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
    if (options.renderFrame) {
        // The first context inspected that takes a source.
        const auto it = std::find_if(contexts.begin(), contexts.end(), [&](const std::string& c) {
            return plugin.contextDescriptor(c)->clip(kOfxImageEffectSimpleSourceClipName) !=
                   nullptr;
        });
        if (it == contexts.end()) {
            std::cout << "    render: not tried, no context with a Source clip\n";
        } else {
            renderTestFrame(plugin, *it, *options.renderFrame);
        }
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
    // What to show: bundles (every record in them) or one record by name.
    struct Target {
        std::string path;
        std::string identifier; // empty: every record
    };
    std::vector<Target> targets;
    const std::vector<std::string> folders = ofxhost::pluginFoldersFromEnvironment();
    std::string searched;
    for (const std::string& f : folders) {
        searched += (searched.empty() ? "" : std::string(1, ofxhost::pluginPathSeparator())) + f;
    }
    if (options.paths.empty()) {
        std::cout << "searching " << searched << "\n\n";
        for (const std::string& bundle : ofxhost::findBundles(folders)) {
            targets.push_back({bundle, ""});
        }
        if (targets.empty()) {
            throw Failure{"no plug-in bundles in " + searched};
        }
    }
    for (const std::string& path : options.paths) {
        std::error_code ec;
        if (std::filesystem::exists(path, ec)) {
            targets.push_back({path, ""});
            continue;
        }
        ofxhost::FoundPlugin found = ofxhost::findPlugin(path, folders);
        if (found.plugin == nullptr) {
            throw Failure{"no plug-in '" + path + "': not a file, and no bundle in " + searched +
                          " (OFX_PLUGIN_PATH and the standard folder) has that identifier"};
        }
        targets.push_back({found.bundle, path});
    }
    for (const Target& target : targets) {
        const std::string& path = target.path;
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
            if (!target.identifier.empty() &&
                library->plugin(i).identifier() != target.identifier) {
                continue;
            }
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
            if (arg == "--host-name" || arg == "--context" || arg == "--render") {
                if (i + 1 >= argc) {
                    throw Failure{arg + " needs a value"};
                }
                const std::string value = argv[++i];
                if (arg == "--render") {
                    char* end = nullptr;
                    const double frame = std::strtod(value.c_str(), &end);
                    if (value.empty() || *end != '\0' || !std::isfinite(frame)) {
                        throw Failure{"--render " + value + ": expected a frame number"};
                    }
                    options.renderFrame = frame;
                } else {
                    (arg == "--host-name" ? options.hostName : options.context) = value;
                }
            } else if (arg.size() > 1 && arg[0] == '-') {
                throw Failure{"unknown option '" + arg + "'"};
            } else {
                options.paths.push_back(arg);
            }
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
