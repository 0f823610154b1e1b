#include "peers/ingest_service/channel/CaptureChannel.h"

#include <gst/gst.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "peers/ingest_service/channel/PipelineTexts.h"
#include "peers/pipeline_process/PipelineParser.h"
#include "platform/utils/Log.h"

namespace tarn::peers::ingest_service {

namespace {

constexpr std::chrono::seconds beforeNextTry{1};
constexpr std::chrono::seconds longestSilence{5};

std::string nameOf(Substitute picture) {
    switch (picture) {
        case Substitute::Bars:
            return "test picture";
        case Substitute::Black:
            return "black";
        case Substitute::Freeze:
            return "last frame";
        case Substitute::Nothing:
            break;
    }
    return "nothing";
}

// The element takes frames only once it plays.
void freeze(GstElement& pipeline, const GstBuffer& frame) {
    const auto frozen = elementOf(pipeline, "frozen");
    const GstBufferPtr copy(gst_buffer_copy(&frame));
    GST_BUFFER_PTS(copy.get()) = 0;
    GstFlowReturn taken = GST_FLOW_OK;
    g_signal_emit_by_name(frozen.get(), "push-buffer", copy.get(), &taken);
    g_signal_emit_by_name(frozen.get(), "end-of-stream", &taken);
}

}  // namespace

CaptureChannel::CaptureChannel(Settings given)
    : settings(std::move(given)), state(State(settings.patience * frameTimeOf(settings.format))) {
    state.lock()->output =
        std::make_shared<FrameOutput>(settings.format, settings.delay, settings.socketPath);
    if (!isThere(settings.source)) {
        showWhatIsWanted();
    }
    thread = std::jthread([this](const std::stop_token& stop) { run(stop); });
}

CaptureChannel::~CaptureChannel() = default;

CaptureChannel::Report CaptureChannel::report() {
    auto locked = state.lock();
    Report report{.signal = locked->watch.state(),
                  .problem = locked->watch.problem(),
                  .shown = "nothing",
                  .captured = locked->captured,
                  .replaced = locked->replaced,
                  .losses = locked->watch.losses()};
    if (locked->shown == Shown::Device) {
        report.shown = "device";
    } else if (locked->shown == Shown::Substitute) {
        report.shown = locked->substitute;
    }
    if (locked->output) {
        report.dropped = locked->output->dropped();
    } else {
        report.signal = SignalWatch::State::Lost;
        report.problem = locked->outputProblem;
    }
    return report;
}

// What throws in a step, memory that is short for one, is tried again: a channel never ends by
// itself.
void CaptureChannel::run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        try {
            nextAttempt.reset();
            step(Clock::now());
        } catch (const std::exception& e) {
            utils::logError(settings.socketPath + ": " + e.what());
            nextAttempt = Clock::now() + beforeNextTry;
        }
        awaitChange(stop);
    }
}

void CaptureChannel::awaitChange(const std::stop_token& stop) {
    const auto next = nextStep();
    auto locked = state.lock();
    const auto hasChanged = [&] { return std::exchange(locked->changed, false); };
    if (next) {
        changed.wait_until(locked.lock(), stop, *next, hasChanged);
    } else {
        changed.wait(locked.lock(), stop, hasChanged);
    }
}

// Nothing when only an event can change things.
std::optional<CaptureChannel::Time> CaptureChannel::nextStep() {
    auto locked = state.lock();
    auto next = locked->watch.nextLook();
    const auto consider = [&](Time time) { next = next ? std::min(*next, time) : time; };
    if (!device && !settings.source.isNone()) {
        consider(nextTry);
    }
    if (device && locked->watch.state() == SignalWatch::State::Lost) {
        consider(reopenAt);
    }
    if (!locked->output) {
        consider(nextOutput);
    }
    if (nextAttempt) {
        consider(*nextAttempt);
    }
    return next;
}

void CaptureChannel::step(Time now) {
    lookAfterOutput(now);
    lookAfterDevice(now);
    openDeviceWhenDue(now);
    state.lock()->watch.look(now);
    logChanges();
    showWhatIsWanted();
}

// Memory may be short for a while.
void CaptureChannel::lookAfterOutput(Time now) {
    const auto output = state.lock()->output;
    if (const auto why = output ? output->trouble() : std::string(); !why.empty()) {
        utils::logError(settings.socketPath + " cannot be offered any more: " + why);
        state.lock()->output.reset();
        state.lock()->outputProblem = why;
        nextOutput = now + beforeNextTry;
    } else if (!output && now >= nextOutput) {
        nextOutput = now + beforeNextTry;
        auto next =
            std::make_shared<FrameOutput>(settings.format, settings.delay, settings.socketPath);
        state.lock()->output = std::move(next);
    }
}

void CaptureChannel::lookAfterDevice(Time now) {
    if (!device) {
        return;
    }
    if (const auto why = device->takeTrouble(); !why.empty()) {
        fail(why, now);
    } else if (isSilentForLong(now)) {
        device.reset();
        nextTry = now;
    }
}

// A driver may say that all is well and give nothing: opening it anew is all that can be done.
bool CaptureChannel::isSilentForLong(Time now) {
    if (state.lock()->watch.state() != SignalWatch::State::Lost) {
        reopenAt = now + longestSilence;
    }
    return now >= reopenAt;
}

void CaptureChannel::openDeviceWhenDue(Time now) {
    if (device || settings.source.isNone() || now < nextTry) {
        return;
    }
    if (isThere(settings.source)) {
        return openDeviceNow(now);
    }
    nextTry = now + beforeNextTry;
    if (state.lock()->watch.state() != SignalWatch::State::NoDevice) {
        fail("there is no device any more", now);
    }
}

void CaptureChannel::openDeviceNow(Time now) {
    state.lock()->watch.opening(now);
    reopenAt = now + longestSilence;
    std::string error;
    auto pipeline = openDevice(settings.source, settings.format, arrived, error);
    if (!pipeline) {
        return fail(error, now);
    }
    device = std::make_unique<FramePipeline>(
        std::move(pipeline), [this](GstBufferPtr frame) { takeDeviceFrame(std::move(frame)); },
        [this] { wake(); });
    if (!device->play(error)) {
        fail(error, now);
    }
}

void CaptureChannel::fail(const std::string& why, Time now) {
    device.reset();
    nextTry = now + beforeNextTry;
    state.lock()->watch.failed(why);
}

void CaptureChannel::logChanges() {
    const auto now = state.lock()->watch.state();
    if (now == std::exchange(logged, now)) {
        return;
    }
    if (now == SignalWatch::State::Lost) {
        utils::logWarning("The signal of " + settings.socketPath +
                          " is lost: " + state.lock()->watch.problem());
    } else if (now == SignalWatch::State::Locked) {
        utils::logInfo(settings.socketPath + " has its signal");
    }
}

// Nothing while the device's own frames are to be shown.
std::optional<Substitute> CaptureChannel::decide() {
    auto locked = state.lock();
    std::optional<Substitute> wanted;
    if (locked->watch.state() == SignalWatch::State::NoDevice) {
        wanted = Substitute::Bars;
    } else if (locked->watch.state() == SignalWatch::State::Lost) {
        wanted = settings.substitute;
    } else {
        locked->shown = locked->shown == Shown::Device ? Shown::Device : Shown::Nothing;
        return std::nullopt;
    }
    if (wanted == Substitute::Freeze && !locked->last) {
        wanted = Substitute::Black;
    }
    locked->shown = wanted == Substitute::Nothing ? Shown::Nothing : Shown::Substitute;
    locked->substitute = nameOf(*wanted);
    return wanted;
}

// A picture that has failed is made anew, also where the same one is wanted.
void CaptureChannel::showWhatIsWanted() {
    const auto wanted = decide();
    const auto why = substitute ? substitute->takeTrouble() : std::string();
    if (wanted != substituted || !why.empty()) {
        substitute.reset();
        substituted.reset();
    }
    if (wanted && wanted != Substitute::Nothing && !substitute) {
        startSubstitute(*wanted);
    }
    substituted = wanted;
}

void CaptureChannel::startSubstitute(Substitute picture) {
    std::string error;
    auto pipeline = parsePipeline(substituteText(settings.format, picture), error);
    if (!pipeline) {
        throw std::runtime_error("a picture cannot be made: " + error);
    }
    substitute = std::make_unique<FramePipeline>(
        std::move(pipeline), [this](GstBufferPtr frame) { takeSubstituteFrame(std::move(frame)); },
        [this] { wake(); });
    if (!substitute->play(error)) {
        substitute.reset();
        throw std::runtime_error("a picture cannot be made: " + error);
    }
    if (picture == Substitute::Freeze) {
        const GstBufferPtr last(gst_buffer_ref(state.lock()->last.get()));
        freeze(substitute->element(), *last);
    }
}

}  // namespace tarn::peers::ingest_service
