// A host whose every call fails in turn. One whole session (load, describe,
// describe in context, create instance, then at 8, 16 and 32 bits an "on"
// and an "off" frame, each with clip preferences, region of definition,
// regions of interest, frames needed, is-identity and render, then an
// instance change, destroy and unload) is run once to number the suite
// calls it makes, and again with call k failing, for every k: with a
// failure status, and, for calls that hand out memory or a handle, with
// success and a null pointer. Every run must end each action with a status,
// give back every image and memory block (the one whose release is the
// failed call aside), and every frame it calls rendered must have the bytes
// of the run without failures: a failure is either reported or harmless.
// The same holds for a cancel at every progress report. Meant above all for
// the sanitizer build, which also sees any stray access or leak.
#include "support/PluginFixture.h"

#include "Host.h"
#include "Image.h"
#include "Instance.h"
#include "Plugin.h"

#include "ofx/ofxImageEffect.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr int kShards = 4;

bool failed(OfxStatus st) { return st != kOfxStatOK && st != kOfxStatReplyDefault; }

// The sources at each depth: colours inside and above the mask's band.
struct Sources {
    Sources() {
        for (const char* depth : {kOfxBitDepthByte, kOfxBitDepthShort, kOfxBitDepthFloat}) {
            auto image = std::make_shared<ofxhost::ImageBuffer>(OfxRectI{0, 0, 24, 10}, depth,
                                                                kOfxImageComponentRGBA, true,
                                                                kOfxImageUnPreMultiplied);
            image->fill([](int x, int y, int c) {
                return c == 3 ? 0.5f + 0.05f * float(y % 10)
                              : float((x * 5 + y * 3 + c) % 17) / 16.0f;
            });
            images.push_back(image);
        }
    }
    std::vector<std::shared_ptr<ofxhost::ImageBuffer>> images;
};

struct Session {
    std::vector<OfxStatus> statuses;                // every action the host sent, in order
    std::vector<std::vector<unsigned char>> frames; // per render: its bytes, empty if it failed
    std::size_t imagesLeft = 0;
    std::size_t imageMemoryLeft = 0;
    std::size_t blocksLeft = 0;
    std::size_t mutexesLeft = 0;
};

std::vector<unsigned char> bytesOf(const ofxhost::ImageBuffer& image) {
    const std::size_t rowLength = std::size_t(image.width()) *
                                  std::size_t(ofxhost::bytesPerComponent(image.depth())) *
                                  std::size_t(image.componentCount());
    std::vector<unsigned char> bytes;
    for (int y = image.bounds().y1; y < image.bounds().y2; ++y) {
        const auto* row = static_cast<const unsigned char*>(image.pixel(image.bounds().x1, y));
        bytes.insert(bytes.end(), row, row + rowLength);
    }
    return bytes;
}

// One session as a host runs it: what fails ends the plug-in's part in it
// as a host would (no describe after a failed load, no render without an
// instance), and everything begun is ended.
Session runSession(ofxhost::Plugin& plugin, ofxhost::Host& host, const Sources& sources) {
    Session s;
    auto step = [&](OfxStatus st) {
        s.statuses.push_back(st);
        return !failed(st);
    };
    if (!step(plugin.load(host)))
        return s;
    if (step(plugin.describe()) && step(plugin.describeInContext(kOfxImageEffectContextFilter))) {
        OfxStatus created = kOfxStatOK;
        std::unique_ptr<ofxhost::EffectInstance> fx =
            plugin.createInstance(kOfxImageEffectContextFilter, &created);
        step(created);
        if (fx != nullptr) {
            for (const auto& image : sources.images) {
                fx->setClipFrames("Source", [image](OfxTime) {
                    return std::optional<ofxhost::ImageDesc>(image->desc());
                });
                ofxhost::PropertySet& out = fx->clip("Output").properties();
                out.setString(kOfxImageEffectPropPixelDepth, image->depth());
                out.setString(kOfxImageEffectPropComponents, image->components());
                out.setString(kOfxImageEffectPropPreMultiplication, kOfxImagePreMultiplied);
                for (double time : {1.0, 3.0}) { // on, then off
                    const ofxhost::RenderResult r = fx->render(time);
                    for (const ofxhost::RenderStep& done : r.steps)
                        s.statuses.push_back(done.status);
                    s.frames.push_back(r.status == kOfxStatOK && r.output
                                           ? bytesOf(*r.output)
                                           : std::vector<unsigned char>());
                }
            }
            step(fx->userEdit("quirkTime", 1.0));
            s.imagesLeft = fx->liveImages();
            fx.reset(); // destroy instance
        }
    }
    step(plugin.unload());
    s.imageMemoryLeft = host.liveImageMemory();
    s.blocksLeft = host.liveAllocations();
    s.mutexesLeft = host.liveMutexes();
    return s;
}

ofxhost::HostConfig sweepHost() {
    ofxhost::HostConfig config;
    config.cpuCount = 2; // renders go through the multi-thread suite
    config.render.honourClipPreferences = false;
    return config;
}

// The failures that by design change a frame without a status: a parameter
// value the host does not give reads as what the call left (0), and an
// image whose premultiplication cannot be read counts as premultiplied.
bool mayChangeTheFrame(const std::string& call, const std::string& subject) {
    return call == "OfxParameterSuite.paramGetHandle" ||
           call == "OfxParameterSuite.paramGetValue" ||
           call == "OfxParameterSuite.paramGetValueAtTime" ||
           (call == "OfxPropertySuite.propGetString" &&
            subject == kOfxImageEffectPropPreMultiplication);
}

// Opened once per test program: a new host per run, the same binary.
class FailureSweep : public ::testing::TestWithParam<int> {
protected:
    static void SetUpTestSuite() {
        library_ = ofxhost::PluginLibrary::open(sqtest::quirkBundle()).release();
        sources_ = new Sources;
        ofxhost::Host host(sweepHost());
        host.recordCallNames(true);
        reference_ = new Session(runSession(library_->plugin(0), host, *sources_));
        names_ = new std::vector<std::string>(host.callNames());
    }
    static void TearDownTestSuite() {
        delete names_;
        delete reference_;
        delete sources_;
        delete library_;
    }

    // Runs the session with call `number` answering `answer`, and checks it.
    void runFailing(std::uint64_t number, OfxStatus answer) {
        const std::string& call = (*names_)[number - 1];
        SCOPED_TRACE("call " + std::to_string(number) + " (" + call + ") answering " +
                     ofxhost::statusName(answer));
        ofxhost::Host host(sweepHost());
        host.failCallNumber(number, answer);
        const Session s = runSession(library_->plugin(0), host, *sources_);
        // The numbering is the same from run to run: the call meant is hit.
        EXPECT_EQ(host.countedFailureCall(), call);
        EXPECT_EQ(s.imagesLeft, call == "OfxImageEffectSuite.clipReleaseImage" ? 1u : 0u);
        EXPECT_EQ(s.imageMemoryLeft, call == "OfxImageEffectSuite.imageMemoryFree" ? 1u : 0u);
        EXPECT_EQ(s.blocksLeft, call == "OfxMemorySuite.memoryFree" ? 1u : 0u);
        EXPECT_EQ(s.mutexesLeft, 0u);
        ASSERT_LE(s.frames.size(), reference_->frames.size());
        if (mayChangeTheFrame(call, host.countedFailureSubject()))
            return;
        for (std::size_t i = 0; i < s.frames.size(); ++i) {
            if (!s.frames[i].empty()) {
                EXPECT_TRUE(s.frames[i] == reference_->frames[i])
                    << "render " << i << " answered OK with other bytes than without failures";
            }
        }
    }

    static ofxhost::PluginLibrary* library_;
    static Sources* sources_;
    static Session* reference_;
    static std::vector<std::string>* names_;
};

ofxhost::PluginLibrary* FailureSweep::library_ = nullptr;
Sources* FailureSweep::sources_ = nullptr;
Session* FailureSweep::reference_ = nullptr;
std::vector<std::string>* FailureSweep::names_ = nullptr;

TEST_P(FailureSweep, EveryCallFailingInTurn) {
    // The run without failures is the measure of the others.
    for (OfxStatus st : reference_->statuses)
        ASSERT_FALSE(failed(st)) << ofxhost::statusName(st);
    ASSERT_EQ(reference_->frames.size(), 6u);
    for (const auto& frame : reference_->frames)
        ASSERT_FALSE(frame.empty());
    ASSERT_EQ(reference_->imagesLeft + reference_->imageMemoryLeft + reference_->blocksLeft, 0u);
    ASSERT_GT(names_->size(), 100u);

    // The statuses a failing host answers, in turn.
    const OfxStatus statuses[] = {kOfxStatFailed,     kOfxStatErrMemory,      kOfxStatErrBadHandle,
                                  kOfxStatErrUnknown, kOfxStatErrUnsupported, kOfxStatErrValue};
    const std::set<std::string> handingOut = {"OfxMemorySuite.memoryAlloc",
                                              "OfxImageEffectSuite.imageMemoryAlloc",
                                              "OfxImageEffectSuite.imageMemoryLock",
                                              "OfxImageEffectSuite.clipDefine",
                                              "OfxImageEffectSuite.clipGetHandle",
                                              "OfxImageEffectSuite.clipGetImage",
                                              "OfxImageEffectSuite.clipGetPropertySet",
                                              "OfxImageEffectSuite.getParamSet",
                                              "OfxImageEffectSuite.getPropertySet",
                                              "OfxParameterSuite.paramDefine",
                                              "OfxParameterSuite.paramGetHandle",
                                              "OfxParameterSuite.paramGetPropertySet",
                                              "OfxParameterSuite.paramSetGetPropertySet"};
    for (std::uint64_t k = 1 + std::uint64_t(GetParam()); k <= names_->size(); k += kShards) {
        runFailing(k, statuses[k % (sizeof statuses / sizeof statuses[0])]);
        if (handingOut.count((*names_)[k - 1]) != 0)
            runFailing(k, ofxhost::kNullAnswer);
        if (HasFatalFailure())
            return;
    }
}

INSTANTIATE_TEST_SUITE_P(Shards, FailureSweep, ::testing::Range(0, kShards));

// A cancel from the host at every progress report of a render: the render
// ends OK (what was written stays), everything is given back, no message.
class CancelSweep : public ::testing::TestWithParam<const char*> {};

TEST_P(CancelSweep, AtEveryProgressReport) {
    const auto library = ofxhost::PluginLibrary::open(sqtest::quirkBundle());
    ofxhost::Plugin& plugin = library->plugin(0);
    auto image = std::make_shared<ofxhost::ImageBuffer>(OfxRectI{0, 0, 40, 20}, GetParam(),
                                                        kOfxImageComponentRGBA, false,
                                                        kOfxImageUnPreMultiplied);
    image->fill([](int x, int y, int c) { return c == 3 ? 1.0f : float((x + y + c) % 7) / 6.0f; });
    auto renderCancelling = [&](int after) {
        ofxhost::HostConfig config = sweepHost();
        config.progressCancelAfter = after;
        ofxhost::Host host(config);
        EXPECT_EQ(plugin.load(host), kOfxStatOK);
        EXPECT_EQ(plugin.describe(), kOfxStatOK);
        EXPECT_EQ(plugin.describeInContext(kOfxImageEffectContextFilter), kOfxStatOK);
        auto fx = plugin.createInstance(kOfxImageEffectContextFilter);
        fx->setClipFrames("Source", [image](OfxTime) {
            return std::optional<ofxhost::ImageDesc>(image->desc());
        });
        const ofxhost::RenderResult r = fx->render(1.0);
        EXPECT_EQ(r.status, kOfxStatOK);
        EXPECT_EQ(fx->liveImages(), 0u);
        fx.reset();
        EXPECT_EQ(plugin.unload(), kOfxStatOK);
        EXPECT_EQ(host.liveImageMemory(), 0u);
        EXPECT_EQ(host.liveAllocations(), 0u);
        EXPECT_TRUE(host.messages().empty());
        std::size_t updates = 0;
        for (const auto& record : host.progress())
            updates += record.kind == ofxhost::ProgressRecord::Kind::Update;
        return updates;
    };
    const std::size_t updates = renderCancelling(-1);
    ASSERT_GT(updates, 2u);
    for (std::size_t after = 0; after < updates; ++after) {
        SCOPED_TRACE("cancel at update " + std::to_string(after));
        // The cancelling update is the last one the host sees.
        EXPECT_EQ(renderCancelling(int(after)), after + 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Depths, CancelSweep,
                         ::testing::Values(kOfxBitDepthByte, kOfxBitDepthShort, kOfxBitDepthFloat));

} // namespace
