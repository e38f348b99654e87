#include "Cli.h"

#include "Discovery.h"
#include "Host.h"
#include "Params.h"
#include "Platform.h"
#include "Plugin.h"
#include "Renderer.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

namespace ofxrender {

namespace {

const char* const kUsage =
    "usage:\n"
    "  ofx-render list\n"
    "  ofx-render describe <identifier-or-bundle>\n"
    "  ofx-render render <identifier-or-bundle> (-i <input> | --sample) -o <output>\n"
    "             [--frames LIST] [--set name=value ...] [--depth 8|16|float] [--scale S]\n"
    "             [--threads N] [--premultiplied | --straight] [--contact-sheet FILE]\n"
    "             [--sheet-columns N] [--sample-size WxH]\n"
    "\n"
    "Inputs and outputs are image sequences, name.####.ext or name.%04d.ext; a single\n"
    "image as input is held over the frames. --sample renders a built-in clip.\n"
    "--frames takes frames, ranges and stepped ranges: 1-48x2,60,72-80.\n"
    "--contact-sheet puts the frames in a grid, --sheet-columns N wide (N = the\n"
    "frame count: a timeline strip).\n"
    "--set name=value sets a value for every frame; name=0@1,100@48 animates it:\n"
    "linear between the keys (numbers) and held before the first and after the last.\n"
    "Ctrl-C stops: frames rendering are abandoned and nothing half-written is left;\n"
    "a second Ctrl-C quits at once.\n"
    "Plug-ins are looked for in OFX_PLUGIN_PATH and the standard OpenFX folder.\n";

std::string shortContext(const std::string& context) {
    const std::string prefix = "OfxImageEffectContext";
    return context.compare(0, prefix.size(), prefix) == 0 ? context.substr(prefix.size()) : context;
}

int list(std::FILE* out) {
    const std::vector<std::string> folders = pluginFoldersFromEnvironment();
    std::string searched;
    for (const std::string& f : folders) {
        searched += (searched.empty() ? "" : std::string(1, pluginPathSeparator())) + f;
    }
    std::fprintf(out, "searching %s\n", searched.c_str());
    ofxhost::Host host;
    int count = 0;
    for (const std::string& bundle : findBundles(folders)) {
        for (const PluginSummary& s : summarise(host, bundle)) {
            ++count;
            if (!s.problem.empty()) {
                std::fprintf(out, "\n%s%s\n  bundle:   %s\n  problem:  %s\n",
                             s.identifier.empty() ? "(unreadable)" : s.identifier.c_str(),
                             s.identifier.empty() ? ""
                                                  : (" " + std::to_string(s.versionMajor) + "." +
                                                     std::to_string(s.versionMinor))
                                                        .c_str(),
                             s.bundle.c_str(), s.problem.c_str());
                continue;
            }
            std::string contexts;
            for (const std::string& c : s.contexts) {
                contexts += (contexts.empty() ? "" : ", ") + shortContext(c);
            }
            std::fprintf(out,
                         "\n%s %u.%u\n  label:    %s\n  grouping: %s\n  contexts: %s\n"
                         "  bundle:   %s\n",
                         s.identifier.c_str(), s.versionMajor, s.versionMinor, s.label.c_str(),
                         s.grouping.c_str(), contexts.c_str(), s.bundle.c_str());
        }
    }
    std::fprintf(out, "\n%d plug-in%s found\n", count, count == 1 ? "" : "s");
    return 0;
}

int describe(const std::string& which, std::FILE* out) {
    ofxhost::Host host;
    OpenedPlugin opened = openPlugin(which, pluginFoldersFromEnvironment());
    ofxhost::Plugin& plugin = *opened.plugin;
    const std::string who = "plug-in '" + plugin.identifier() + "'";
    auto check = [&](OfxStatus st, const std::string& what) {
        if (st != kOfxStatOK && st != kOfxStatReplyDefault) {
            throw failure(who + ": " + what + " answered " + ofxhost::statusName(st));
        }
    };
    check(plugin.load(host), "OfxActionLoad");
    check(plugin.describe(), "OfxActionDescribe");
    const ofxhost::PropertySet& props = plugin.descriptor()->properties();
    const auto contexts = props.getStrings(kOfxImageEffectPropSupportedContexts);
    std::string contextList;
    std::string context;
    for (const std::string& c : contexts) {
        contextList += (contextList.empty() ? "" : ", ") + shortContext(c);
        if (context.empty() &&
            (c == kOfxImageEffectContextFilter || c == kOfxImageEffectContextGeneral)) {
            context = c;
        }
    }
    if (context.empty() && !contexts.empty()) {
        context = contexts.front();
    }
    std::fprintf(out, "%s %u.%u  \"%s\"\n  grouping: %s\n  contexts: %s\n  threading: %s\n",
                 plugin.identifier().c_str(), plugin.versionMajor(), plugin.versionMinor(),
                 props.getString(kOfxPropLabel).c_str(),
                 props.getString(kOfxImageEffectPluginPropGrouping).c_str(), contextList.c_str(),
                 props.getString(kOfxImageEffectPluginRenderThreadSafety).c_str());
    if (context.empty()) {
        std::fprintf(out, "  (no context to describe parameters in)\n");
        return 0;
    }
    check(plugin.describeInContext(context), "describe in context " + shortContext(context));
    std::fprintf(out, "\nparameters (%s context):\n", shortContext(context).c_str());
    int shown = 0;
    for (const ParamInfo& p : describeParams(*plugin.contextDescriptor(context))) {
        if (p.dimension == 0 || p.secret) {
            continue; // pages, groups, buttons and hidden ones cannot be set
        }
        ++shown;
        std::fprintf(out, "  %s  \"%s\"  %s\n", p.name.c_str(), p.label.c_str(),
                     shortType(p.type).c_str());
        std::fprintf(out, "      default %s; takes %s\n", defaultText(p).c_str(),
                     acceptedValues(p).c_str());
        if (!p.animates) {
            std::fprintf(out, "      not animatable: one value for the whole clip\n");
        }
        if (!p.hint.empty()) {
            std::fprintf(out, "      %s\n", p.hint.c_str());
        }
    }
    if (shown == 0) {
        std::fprintf(out, "  (none)\n");
    }
    std::fprintf(out,
                 "\nset them with: --set name=value, or animate them: --set name=0@1,100@48\n");
    plugin.unload();
    return 0;
}

std::optional<int> toInt(const std::string& s) {
    int v = 0;
    const auto r = std::from_chars(s.data(), s.data() + s.size(), v);
    if (s.empty() || r.ec != std::errc() || r.ptr != s.data() + s.size()) {
        return std::nullopt;
    }
    return v;
}

RenderOptions parseRenderOptions(const std::vector<std::string>& args) {
    RenderOptions o;
    std::size_t i = 1;
    auto value = [&](const std::string& option) -> std::string {
        if (i + 1 >= args.size()) {
            throw usageError(option + " needs a value");
        }
        return args[++i];
    };
    bool alphaGiven = false;
    for (; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "-i" || a == "--input") {
            o.input = value(a);
        } else if (a == "-o" || a == "--output") {
            o.output = value(a);
        } else if (a == "--sample") {
            o.sample = true;
        } else if (a == "--sample-size") {
            const std::string v = value(a);
            const std::size_t x = v.find('x');
            const auto w = toInt(v.substr(0, x));
            const auto h = x == std::string::npos ? std::nullopt : toInt(v.substr(x + 1));
            if (!w || !h || *w < 1 || *h < 1 || *w > 16384 || *h > 16384) {
                throw usageError("--sample-size " + v + ": expected WxH, e.g. 480x270");
            }
            o.sampleWidth = *w;
            o.sampleHeight = *h;
        } else if (a == "--frames") {
            std::string why;
            const auto r = parseFrameList(value(a), &why);
            if (!r) {
                throw usageError("--frames: " + why);
            }
            o.frames = r;
        } else if (a == "--set") {
            o.settings.push_back(value(a));
        } else if (a == "--depth") {
            const std::string v = value(a);
            o.depth = parseDepth(v);
            if (!o.depth) {
                throw usageError("--depth " + v + ": expected 8, 16 or float");
            }
        } else if (a == "--scale") {
            const std::string v = value(a);
            char* end = nullptr;
            o.scale = std::strtod(v.c_str(), &end);
            if (end == v.c_str() || *end != '\0' || !(o.scale > 0.0 && o.scale <= 1.0)) {
                throw usageError("--scale " + v + ": expected a number above 0 and at most 1");
            }
        } else if (a == "--threads") {
            const std::string v = value(a);
            const auto n = toInt(v);
            if (!n || *n < 0 || *n > 256) {
                throw usageError("--threads " + v + ": expected 0 (automatic) to 256");
            }
            o.threads = *n;
        } else if (a == "--premultiplied" || a == "--straight") {
            if (alphaGiven) {
                throw usageError("give --premultiplied or --straight, not both");
            }
            alphaGiven = true;
            o.alpha = a == "--straight" ? Alpha::Straight : Alpha::Premultiplied;
        } else if (a == "--contact-sheet") {
            o.contactSheet = value(a);
        } else if (a == "--sheet-columns") {
            const std::string v = value(a);
            const auto n = toInt(v);
            if (!n || *n < 1 || *n > 1000) {
                throw usageError("--sheet-columns " + v + ": expected 1 to 1000");
            }
            o.sheetColumns = *n;
        } else if (!a.empty() && a[0] == '-') {
            throw usageError("unknown option " + a);
        } else if (o.plugin.empty()) {
            o.plugin = a;
        } else {
            throw usageError("unexpected argument " + a);
        }
    }
    if (o.plugin.empty()) {
        throw usageError("render: name a plug-in (identifier or bundle)");
    }
    if (o.sample && !o.input.empty()) {
        throw usageError("give -i or --sample, not both");
    }
    return o;
}

} // namespace

int runCommand(const std::vector<std::string>& args, std::FILE* out, std::FILE* err,
               const std::atomic<bool>* cancel) {
    try {
        if (args.empty() || args[0] == "help" || args[0] == "--help" || args[0] == "-h") {
            std::fputs(kUsage, args.empty() ? err : out);
            return args.empty() ? static_cast<int>(ExitCode::Usage) : 0;
        }
        if (args[0] == "list") {
            return list(out);
        }
        if (args[0] == "describe") {
            if (args.size() != 2) {
                throw usageError("describe takes one plug-in identifier or bundle");
            }
            return describe(args[1], out);
        }
        if (args[0] == "render") {
            const RenderOptions options = parseRenderOptions(args);
            const RenderReport report = render(options, out, isTerminal(out), cancel);
            if (report.code != ExitCode::Ok) {
                std::fprintf(err, "ofx-render: %s\n", report.message.c_str());
            }
            return static_cast<int>(report.code);
        }
        throw usageError("unknown command '" + args[0] + "' (list, describe, render, help)");
    } catch (const RenderError& e) {
        std::fprintf(err, "ofx-render: %s\n", e.what());
        return static_cast<int>(e.code());
    } catch (const std::exception& e) {
        std::fprintf(err, "ofx-render: %s\n", e.what());
        return static_cast<int>(ExitCode::Failed);
    }
}

} // namespace ofxrender
