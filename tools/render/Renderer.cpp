#include "Renderer.h"

#include "ContactSheet.h"
#include "Discovery.h"
#include "Host.h"
#include "Params.h"
#include "Plugin.h"
#include "Progress.h"
#include "Sample.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

namespace fs = std::filesystem;

namespace ofxrender {

namespace {

bool failed(OfxStatus st) { return st != kOfxStatOK && st != kOfxStatReplyDefault; }

std::string lastMessage(const ofxhost::Host& host) {
    const auto messages = host.messages();
    for (auto it = messages.rbegin(); it != messages.rend(); ++it) {
        if (!it->text.empty()) {
            return " (plug-in says: " + it->text + ")";
        }
    }
    return "";
}

// Creates the folder of `path` when missing and proves it takes new files.
void checkWritableFolder(const std::string& path) {
    fs::path folder = fs::path(path).parent_path();
    if (folder.empty()) {
        folder = ".";
    }
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec || !fs::is_directory(folder)) {
        throw failure("cannot create output folder " + folder.string() + ": " +
                      (ec ? ec.message() : "a file of that name is in the way"));
    }
    const std::string probe = temporaryNameFor((folder / "probe").string());
    std::FILE* f = std::fopen(probe.c_str(), "wb");
    if (f == nullptr) {
        throw failure("output folder " + folder.string() + " is not writable");
    }
    std::fclose(f);
    fs::remove(probe, ec);
}

Depth fitDepth(Depth wanted, const std::string& path) {
    for (Depth d : {wanted, Depth::U16, Depth::U8, Depth::Float}) {
        if (depthProblem(path, d).empty()) {
            return d;
        }
    }
    return wanted;
}

// Where source frames come from.
class Source {
public:
    explicit Source(const RenderOptions& o) : options_(o) {
        if (!o.sample) {
            pattern_ = SequencePattern::parse(o.input);
        }
    }

    bool isSequence() const { return pattern_.isSequence(); }
    const SequencePattern& pattern() const { return pattern_; }

    Frame frame(int number) {
        if (options_.sample) {
            return sampleFrame(number, options_.sampleWidth, options_.sampleHeight);
        }
        if (!pattern_.isSequence()) {
            std::lock_guard<std::mutex> lock(mutex_);
            if (!still_) {
                still_ = readImage(options_.input, options_.alpha, &info_);
            }
            return *still_;
        }
        return readImage(pattern_.fileFor(number), options_.alpha);
    }
    // What the first frame's file says (the sample is float, premultiplied).
    ImageInfo info(int first) {
        if (options_.sample) {
            // Float for files that hold it well, else 8 bits: the sample is
            // for looking at.
            const bool floats = formatOf(options_.output) == "exr";
            return {Alpha::Premultiplied, floats ? Depth::Float : Depth::U8, 4};
        }
        ImageInfo info;
        readImage(pattern_.fileFor(first), options_.alpha, &info);
        return info;
    }

private:
    const RenderOptions& options_;
    SequencePattern pattern_;
    std::mutex mutex_;
    std::optional<Frame> still_;
    ImageInfo info_;
};

struct Job {
    std::vector<int> frames; // ascending, each once
    SequencePattern output;
    Depth depth = Depth::U8;
    Alpha inputAlpha = Alpha::Premultiplied;
    Alpha outputAlpha = Alpha::Premultiplied;
    int width = 0;
    int height = 0;
};

// "0-23", or "1-47x2,60,72-80" folded back into runs of one step.
std::string framesText(const std::vector<int>& frames) {
    std::string text;
    for (std::size_t i = 0; i < frames.size();) {
        std::size_t j = i + 1;
        const long long step =
            j < frames.size() ? static_cast<long long>(frames[j]) - frames[i] : 1;
        while (j < frames.size() && static_cast<long long>(frames[j]) - frames[j - 1] == step) {
            ++j;
        }
        // Two frames a step apart read better as a list than as a range.
        if (j - i == 2 && step > 1) {
            j = i + 1;
        }
        text += (text.empty() ? "" : ",") + std::to_string(frames[i]);
        if (j - i > 1) {
            text += "-" + std::to_string(frames[j - 1]);
            if (step > 1) {
                text += "x" + std::to_string(step);
            }
        }
        i = j;
    }
    return text;
}

std::string contextLabel(const std::string& context) {
    const std::string prefix = "OfxImageEffectContext";
    return context.compare(0, prefix.size(), prefix) == 0 ? context.substr(prefix.size()) : context;
}

} // namespace

std::string summaryLine(const RenderReport& report, const std::string& output) {
    const int written = static_cast<int>(report.written.size());
    char text[160];
    std::snprintf(text, sizeof text, "%s %d of %d frame%s",
                  written == report.requested ? "wrote" : "stopped after writing", written,
                  report.requested, report.requested == 1 ? "" : "s");
    std::string line = text + (" to " + output);
    std::snprintf(text, sizeof text, " in %.1f s", report.seconds);
    line += text;
    if (written > 0 && report.seconds > 0.0) {
        std::snprintf(text, sizeof text, " (%.1f fps)", written / report.seconds);
        line += text;
    }
    if (report.slowest) {
        std::snprintf(text, sizeof text, "; slowest frame %d (%.2f s)", report.slowest->frame,
                      report.slowest->seconds);
        line += text;
    }
    return line;
}

RenderReport render(const RenderOptions& options, std::FILE* out, bool terminal,
                    const std::atomic<bool>* cancel) {
    RenderReport report;
    try {
        // --- the command line and the files, before any plug-in work ------
        if (!(options.scale > 0.0 && options.scale <= 1.0)) {
            throw usageError("--scale must be above 0 and at most 1");
        }
        if (options.threads < 0) {
            throw usageError("--threads must be 0 (automatic) or more");
        }
        if (options.output.empty()) {
            throw usageError("no output: give -o <pattern>, e.g. -o out/frame.####.png");
        }
        if (!options.sample && options.input.empty()) {
            throw usageError("no input: give -i <pattern or image> or --sample");
        }
        Source source(options);
        Job job;
        job.output = SequencePattern::parse(options.output);
        if (options.frames) {
            job.frames = *options.frames;
        } else if (options.sample) {
            for (int f = 0; f <= 23; ++f) {
                job.frames.push_back(f);
            }
        } else if (source.isSequence()) {
            const std::vector<int> found = source.pattern().framesOnDisk();
            if (found.empty()) {
                throw failure("no input frames: no file matches " + options.input);
            }
            for (int f = found.front(); f <= found.back(); ++f) {
                job.frames.push_back(f);
            }
        } else {
            job.frames = {0};
        }
        if (job.frames.empty()) {
            throw usageError("no frames to render");
        }
        const int frameCount = static_cast<int>(job.frames.size());
        const int firstFrame = job.frames.front();
        report.requested = frameCount;
        if (!job.output.isSequence() && frameCount > 1) {
            throw usageError("output " + options.output + " has no frame number for " +
                             std::to_string(frameCount) + " frames: use #### or %04d in its name");
        }
        if (!options.sample) {
            if (source.isSequence()) {
                for (int f : job.frames) {
                    const std::string file = source.pattern().fileFor(f);
                    std::error_code ec;
                    if (!fs::is_regular_file(file, ec)) {
                        throw failure("missing input frame " + std::to_string(f) + ": " + file);
                    }
                }
            } else if (std::error_code ec; !fs::is_regular_file(options.input, ec)) {
                throw failure("missing input file " + options.input);
            }
        }
        const ImageInfo info = source.info(firstFrame);
        job.inputAlpha = info.stored;
        job.outputAlpha = options.alpha.value_or(defaultAlpha(options.output));
        if (options.depth) {
            const std::string problem = depthProblem(options.output, *options.depth);
            if (!problem.empty()) {
                throw usageError("cannot write " + options.output + ": " + problem);
            }
            job.depth = *options.depth;
        } else {
            job.depth = fitDepth(info.depth, options.output);
        }
        if (!options.contactSheet.empty()) {
            const std::string problem = depthProblem(options.contactSheet, Depth::U8);
            if (!problem.empty()) {
                throw usageError("cannot write contact sheet " + options.contactSheet + ": " +
                                 problem);
            }
        }
        const Frame first = source.frame(firstFrame);
        job.width = first.width;
        job.height = first.height;

        // --- the plug-in and its parameters --------------------------------
        ofxhost::HostConfig config;
        config.name = "org.stutterquirk.render";
        config.label = "ofx-render";
        // Thousands of frames: no record of every call kept in memory.
        config.recordCalls = false;
        config.project.width = job.width;
        config.project.height = job.height;
        config.project.duration =
            static_cast<double>(job.frames.back()) - static_cast<double>(firstFrame) + 1.0;
        ofxhost::Host host(config);
        OpenedPlugin opened = openPlugin(options.plugin, options.pluginFolders.empty()
                                                             ? pluginFoldersFromEnvironment()
                                                             : options.pluginFolders);
        ofxhost::Plugin& plugin = *opened.plugin;
        const std::string who = "plug-in '" + plugin.identifier() + "'";
        if (!plugin.isSupported()) {
            throw failure(who + " cannot be used: " + plugin.whyUnusable());
        }
        if (const OfxStatus st = plugin.load(host); failed(st)) {
            throw failure(who + " failed to load: OfxActionLoad answered " +
                          ofxhost::statusName(st) + lastMessage(host));
        }
        if (const OfxStatus st = plugin.describe(); failed(st)) {
            throw failure(who + " failed to describe itself: " + ofxhost::statusName(st) +
                          lastMessage(host));
        }
        const auto contexts =
            plugin.descriptor()->properties().getStrings(kOfxImageEffectPropSupportedContexts);
        std::string context;
        for (const char* c : {kOfxImageEffectContextFilter, kOfxImageEffectContextGeneral}) {
            if (context.empty() &&
                std::find(contexts.begin(), contexts.end(), c) != contexts.end()) {
                context = c;
            }
        }
        if (context.empty()) {
            throw failure(who + " is neither a filter nor a general effect: nothing to apply");
        }
        if (const OfxStatus st = plugin.describeInContext(context); failed(st)) {
            throw failure(who + " failed to describe itself in the " + contextLabel(context) +
                          " context: " + ofxhost::statusName(st) + lastMessage(host));
        }
        const ofxhost::EffectDescriptor& descriptor = *plugin.contextDescriptor(context);
        if (descriptor.clip(kOfxImageEffectSimpleSourceClipName) == nullptr) {
            throw failure(who + " has no Source clip in the " + contextLabel(context) + " context");
        }
        const std::vector<ParamInfo> params = describeParams(descriptor);
        std::vector<ParamSetting> settings;
        for (const std::string& s : options.settings) {
            settings.push_back(parseSetting(s, params));
        }
        std::vector<std::string> animated;
        for (const ParamSetting& s : settings) {
            if (!s.keys.empty()) {
                animated.push_back(s.name);
            }
        }

        // Output folders are made only once nothing else can go wrong early.
        if (!options.contactSheet.empty()) {
            checkWritableFolder(options.contactSheet);
        }
        checkWritableFolder(job.output.fileFor(firstFrame));

        // Source frames being rendered, by time: the plug-in may ask for
        // one from any of its threads. Declared before the instance, which
        // must go first.
        std::mutex framesMutex;
        std::map<OfxTime, std::shared_ptr<ofxhost::ImageBuffer>> inFlight;
        OfxStatus created = kOfxStatOK;
        std::unique_ptr<ofxhost::EffectInstance> instance =
            plugin.createInstance(context, &created);
        if (instance == nullptr) {
            throw failure(who + " refused to create an instance: " + ofxhost::statusName(created) +
                          lastMessage(host));
        }
        for (const ParamSetting& s : settings) {
            try {
                if (s.keys.empty()) {
                    instance->setValue(s.name, s.value);
                }
                for (const ParamKey& key : s.keys) {
                    instance->setValueAtTime(s.name, key.time, key.value);
                }
            } catch (const std::exception& e) {
                throw usageError("--set " + s.name + ": " + e.what());
            }
        }
        // Ctrl-C reaches frames in flight through the host's abort flag: the
        // plug-in stops at its next progress check.
        instance->setAbortFlag(cancel);

        instance->setClipFrames(kOfxImageEffectSimpleSourceClipName,
                                [&](OfxTime t) -> std::optional<ofxhost::ImageDesc> {
                                    std::lock_guard<std::mutex> lock(framesMutex);
                                    const auto it = inFlight.find(t);
                                    if (it == inFlight.end()) {
                                        return std::nullopt;
                                    }
                                    return it->second->desc();
                                });
        const std::string ofxDepth = ofxDepthFor(job.depth, options.output);
        for (const char* clip :
             {kOfxImageEffectSimpleSourceClipName, kOfxImageEffectOutputClipName}) {
            ofxhost::PropertySet& p = instance->clip(clip).properties();
            p.setString(kOfxImageEffectPropPixelDepth, ofxDepth);
            p.setString(kOfxImageClipPropUnmappedPixelDepth, ofxDepth);
            p.setString(kOfxImageEffectPropComponents, kOfxImageComponentRGBA);
            p.setString(kOfxImageClipPropUnmappedComponents, kOfxImageComponentRGBA);
            p.setString(kOfxImageEffectPropPreMultiplication, kOfxImagePreMultiplied);
        }

        // --- frames ------------------------------------------------------
        const std::string safety =
            descriptor.properties().getString(kOfxImageEffectPluginRenderThreadSafety);
        const bool concurrent = safety == kOfxImageEffectRenderFullySafe;
        int threads =
            options.threads > 0
                ? options.threads
                : static_cast<int>(std::min(4u, std::max(1u, std::thread::hardware_concurrency())));
        threads = std::min(threads, frameCount);
        if (!concurrent) {
            threads = 1;
        }
        report.threads = threads;
        const int scaledWidth =
            std::max(1, static_cast<int>(std::lround(job.width * options.scale)));
        const int scaledHeight =
            std::max(1, static_cast<int>(std::lround(job.height * options.scale)));

        std::fprintf(out, "%s: %s, %s context, frames %s, %dx%d%s -> %s (%s, %s alpha)\n",
                     plugin.identifier().c_str(),
                     (plugin.descriptor()->properties().getString(kOfxPropLabel)).c_str(),
                     contextLabel(context).c_str(), framesText(job.frames).c_str(), scaledWidth,
                     scaledHeight,
                     options.sample ? " (built-in sample)"
                                    : (std::string(" from ") + options.input + " (" +
                                       alphaName(job.inputAlpha) + " alpha)")
                                          .c_str(),
                     options.output.c_str(), depthName(job.depth), alphaName(job.outputAlpha));
        std::fprintf(out, "rendering with %d thread%s%s\n", threads, threads == 1 ? "" : "s",
                     concurrent ? "" : " (the plug-in is not fully thread safe)");
        std::fflush(out);

        for (const ParamSetting& s : settings) {
            if (!s.keys.empty()) {
                std::fprintf(out, "animated: %s, %zu key%s from frame %g to %g\n", s.name.c_str(),
                             s.keys.size(), s.keys.size() == 1 ? "" : "s", s.keys.front().time,
                             s.keys.back().time);
            }
        }
        std::fflush(out);

        const SheetLayout layout =
            sheetLayout(frameCount, scaledWidth, scaledHeight, options.sheetColumns);
        std::map<int, Thumbnail> thumbnails;
        std::vector<int> written;
        int stoppedInFlight = 0;
        FrameTime slowest;
        std::mutex resultsMutex;
        std::string firstFailure;
        ExitCode failureCode = ExitCode::Ok;
        std::atomic<std::size_t> next{0};
        std::atomic<bool> stop{false};
        auto cancelled = [&]() { return cancel != nullptr && cancel->load(); };
        Progress progress(frameCount, out, terminal);

        auto worker = [&]() {
            for (;;) {
                if (stop.load() || cancelled()) {
                    return;
                }
                const std::size_t index = next.fetch_add(1);
                if (index >= job.frames.size()) {
                    return;
                }
                const int f = job.frames[index];
                const auto started = std::chrono::steady_clock::now();
                try {
                    Frame in = f == firstFrame ? first : source.frame(f);
                    if (in.width != job.width || in.height != job.height) {
                        throw failure("input frame " + std::to_string(f) + " is " +
                                      std::to_string(in.width) + "x" + std::to_string(in.height) +
                                      ", not " + std::to_string(job.width) + "x" +
                                      std::to_string(job.height) + " like the first");
                    }
                    in = resize(in, scaledWidth, scaledHeight);
                    std::shared_ptr<ofxhost::ImageBuffer> buffer = toImageBuffer(in, ofxDepth);
                    const OfxTime time = f;
                    {
                        std::lock_guard<std::mutex> lock(framesMutex);
                        inFlight[time] = buffer;
                    }
                    ofxhost::RenderRequest request;
                    request.time = time;
                    request.renderScale = {options.scale, options.scale};
                    ofxhost::RenderResult result = instance->render(request);
                    {
                        std::lock_guard<std::mutex> lock(framesMutex);
                        inFlight.erase(time);
                    }
                    // A render that saw the abort flag may have stopped half
                    // way and still answered OK: its output is not the frame.
                    if (cancelled()) {
                        std::lock_guard<std::mutex> lock(resultsMutex);
                        ++stoppedInFlight;
                        return;
                    }
                    if (result.status != kOfxStatOK || !result.output) {
                        std::string step = "render";
                        for (const auto& s : result.steps) {
                            if (failed(s.status)) {
                                step = s.action;
                                break;
                            }
                        }
                        throw failure("frame " + std::to_string(f) + ": " + who + " reported " +
                                      ofxhost::statusName(result.status) + " in " + step +
                                      lastMessage(host));
                    }
                    const bool premultiplied =
                        result.output->premultiplication != kOfxImageUnPreMultiplied;
                    const Frame rendered = fromImageBuffer(*result.output, premultiplied);
                    const std::string file = job.output.fileFor(f);
                    writeImage(file, rendered, job.depth, job.outputAlpha);
                    const double seconds =
                        std::chrono::duration<double>(std::chrono::steady_clock::now() - started)
                            .count();
                    {
                        std::lock_guard<std::mutex> lock(resultsMutex);
                        written.push_back(f);
                        if (written.size() == 1 || seconds > slowest.seconds) {
                            slowest = {f, seconds};
                        }
                        if (!options.contactSheet.empty()) {
                            thumbnails[f] = makeThumbnail(f, rendered, layout);
                        }
                    }
                    progress.frameDone(f, file);
                } catch (const RenderError& e) {
                    std::lock_guard<std::mutex> lock(resultsMutex);
                    if (firstFailure.empty()) {
                        firstFailure = e.what();
                        failureCode = e.code();
                    }
                    stop = true;
                } catch (const std::exception& e) {
                    std::lock_guard<std::mutex> lock(resultsMutex);
                    if (firstFailure.empty()) {
                        firstFailure = "frame " + std::to_string(f) + ": " + e.what();
                        failureCode = ExitCode::Failed;
                    }
                    stop = true;
                }
            }
        };
        std::vector<std::thread> pool;
        for (int i = 1; i < threads; ++i) {
            pool.emplace_back(worker);
        }
        worker();
        for (std::thread& t : pool) {
            t.join();
        }
        progress.finish();
        instance.reset();
        plugin.unload();

        std::sort(written.begin(), written.end());
        report.written = written;
        report.seconds = progress.elapsedSeconds();
        report.stoppedInFlight = stoppedInFlight;
        if (!written.empty()) {
            report.slowest = slowest;
        }
        if (!firstFailure.empty()) {
            report.code = failureCode;
            report.message = firstFailure;
        } else if (static_cast<int>(written.size()) < report.requested) {
            report.code = ExitCode::Cancelled;
            report.message = "cancelled: " + std::to_string(written.size()) + " of " +
                             std::to_string(report.requested) + " frames written";
            if (stoppedInFlight > 0) {
                report.message += ", " + std::to_string(stoppedInFlight) + " stopped in flight";
            }
        }
        // A sheet of some of the frames would pass for the whole shot.
        const bool sheet = !options.contactSheet.empty() && report.code == ExitCode::Ok;
        if (sheet) {
            std::vector<Thumbnail> ordered;
            for (auto& entry : thumbnails) {
                ordered.push_back(std::move(entry.second));
            }
            writeImage(options.contactSheet, contactSheet(ordered, layout), Depth::U8,
                       Alpha::Straight);
        }
        std::fputs(summaryLine(report, options.output).c_str(), out);
        std::fputc('\n', out);
        if (sheet) {
            std::fprintf(out, "contact sheet: %s (%dx%d, %d frames)\n",
                         options.contactSheet.c_str(), layout.width, layout.height,
                         static_cast<int>(thumbnails.size()));
        }
        std::fflush(out);
    } catch (const RenderError& e) {
        report.code = e.code();
        report.message = e.what();
    } catch (const std::exception& e) {
        report.code = ExitCode::Failed;
        report.message = e.what();
    }
    return report;
}

} // namespace ofxrender
