#include "Renderer.h"

#include "ContactSheet.h"
#include "Discovery.h"
#include "Host.h"
#include "Params.h"
#include "Plugin.h"
#include "Progress.h"
#include "Sample.h"

#include <algorithm>
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
    FrameRange range;
    SequencePattern output;
    Depth depth = Depth::U8;
    Alpha inputAlpha = Alpha::Premultiplied;
    Alpha outputAlpha = Alpha::Premultiplied;
    int width = 0;
    int height = 0;
};

std::string contextLabel(const std::string& context) {
    const std::string prefix = "OfxImageEffectContext";
    return context.compare(0, prefix.size(), prefix) == 0 ? context.substr(prefix.size()) : context;
}

} // namespace

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
            job.range = *options.frames;
        } else if (options.sample) {
            job.range = {0, 23};
        } else if (source.isSequence()) {
            const std::vector<int> found = source.pattern().framesOnDisk();
            if (found.empty()) {
                throw failure("no input frames: no file matches " + options.input);
            }
            job.range = {found.front(), found.back()};
        } else {
            job.range = {0, 0};
        }
        report.requested = job.range.count();
        if (!job.output.isSequence() && job.range.count() > 1) {
            throw usageError("output " + options.output + " has no frame number for " +
                             std::to_string(job.range.count()) +
                             " frames: use #### or %04d in its name");
        }
        if (!options.sample) {
            if (source.isSequence()) {
                for (int f = job.range.first; f <= job.range.last; ++f) {
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
        const ImageInfo info = source.info(job.range.first);
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
        const Frame first = source.frame(job.range.first);
        job.width = first.width;
        job.height = first.height;

        // --- the plug-in and its parameters --------------------------------
        ofxhost::HostConfig config;
        config.name = "org.stutterquirk.render";
        config.label = "ofx-render";
        config.project.width = job.width;
        config.project.height = job.height;
        config.project.duration = job.range.count();
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

        // Output folders are made only once nothing else can go wrong early.
        if (!options.contactSheet.empty()) {
            checkWritableFolder(options.contactSheet);
        }
        checkWritableFolder(job.output.fileFor(job.range.first));

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
                instance->setValue(s.name, s.value);
            } catch (const std::exception& e) {
                throw usageError("--set " + s.name + ": " + e.what());
            }
        }

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
        threads = std::min(threads, job.range.count());
        if (!concurrent) {
            threads = 1;
        }
        report.threads = threads;
        const int scaledWidth =
            std::max(1, static_cast<int>(std::lround(job.width * options.scale)));
        const int scaledHeight =
            std::max(1, static_cast<int>(std::lround(job.height * options.scale)));

        std::fprintf(out, "%s: %s, %s context, frames %d-%d, %dx%d%s -> %s (%s, %s alpha)\n",
                     plugin.identifier().c_str(),
                     (plugin.descriptor()->properties().getString(kOfxPropLabel)).c_str(),
                     contextLabel(context).c_str(), job.range.first, job.range.last, scaledWidth,
                     scaledHeight,
                     options.sample ? " (built-in sample)"
                                    : (std::string(" from ") + options.input + " (" +
                                       alphaName(job.inputAlpha) + " alpha)")
                                          .c_str(),
                     options.output.c_str(), depthName(job.depth), alphaName(job.outputAlpha));
        std::fprintf(out, "rendering with %d thread%s%s\n", threads, threads == 1 ? "" : "s",
                     concurrent ? "" : " (the plug-in is not fully thread safe)");
        std::fflush(out);

        const SheetLayout layout = sheetLayout(job.range.count(), scaledWidth, scaledHeight);
        std::map<int, Thumbnail> thumbnails;
        std::vector<int> written;
        std::mutex resultsMutex;
        std::string firstFailure;
        ExitCode failureCode = ExitCode::Ok;
        std::atomic<int> next{job.range.first};
        std::atomic<bool> stop{false};
        Progress progress(job.range.count(), out, terminal);

        auto worker = [&]() {
            for (;;) {
                if (stop.load() || (cancel != nullptr && cancel->load())) {
                    return;
                }
                const int f = next.fetch_add(1);
                if (f > job.range.last) {
                    return;
                }
                try {
                    Frame in = f == job.range.first ? first : source.frame(f);
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
                    {
                        std::lock_guard<std::mutex> lock(resultsMutex);
                        written.push_back(f);
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
        if (!options.contactSheet.empty() && !thumbnails.empty()) {
            std::vector<Thumbnail> ordered;
            for (auto& entry : thumbnails) {
                ordered.push_back(std::move(entry.second));
            }
            writeImage(options.contactSheet, contactSheet(ordered, layout), Depth::U8,
                       Alpha::Straight);
        }
        if (!firstFailure.empty()) {
            report.code = failureCode;
            report.message = firstFailure;
        } else if (static_cast<int>(written.size()) < report.requested) {
            report.code = ExitCode::Cancelled;
            report.message = "cancelled: " + std::to_string(written.size()) + " of " +
                             std::to_string(report.requested) + " frames written";
        }
        std::fprintf(out, "%s %zu of %d frames to %s in %.1f s",
                     report.code == ExitCode::Ok ? "wrote" : "stopped after writing",
                     written.size(), report.requested, options.output.c_str(), report.seconds);
        if (!written.empty() && report.seconds > 0.0) {
            std::fprintf(out, " (%.1f fps)", static_cast<double>(written.size()) / report.seconds);
        }
        std::fprintf(out, "\n");
        if (!options.contactSheet.empty() && !thumbnails.empty()) {
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
