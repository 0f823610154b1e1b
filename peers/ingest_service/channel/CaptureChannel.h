#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

#include "peers/ingest_service/channel/CaptureFormat.h"
#include "peers/ingest_service/channel/DevicePipeline.h"
#include "peers/ingest_service/channel/FrameOutput.h"
#include "peers/ingest_service/channel/SignalWatch.h"
#include "peers/ingest_service/channel/Substitute.h"
#include "platform/utils/Synchronised.h"

namespace tarn::peers::ingest_service {

/// One channel: frames from a device into shared memory, from where any number of readers takes
/// them. While the device gives none (SignalWatch has the model) readers get what is configured in
/// their place, on the same socket, and the channel tries to get the device back: one that failed
/// is opened again after a second, one that is silent after five. A channel without a device is a
/// test picture with the time of day as time code.
///
/// All of that is done by a thread of its own, since a device may take any time to be opened. Any
/// thread may ask for reports.
class CaptureChannel {
  public:
    struct Settings {
        CaptureFormat format;
        unsigned delay = 0;      ///< frames by which every frame is held back
        std::string socketPath;  ///< nobody may listen there
        DeviceSource source;     ///< need not be there
        Substitute substitute = Substitute::Bars;
        unsigned patience = 25;  ///< so many frame times without a frame are a lost signal
    };

    struct Report {
        SignalWatch::State signal = SignalWatch::State::NoDevice;
        std::string problem;         ///< empty: none
        std::string shown;           ///< what readers get
        std::uint64_t captured = 0;  ///< frames that came from the device, or of the test picture
        std::uint64_t dropped = 0;   ///< that were not given to readers
        std::uint64_t replaced = 0;  ///< that readers got in the place of the device's
        std::uint64_t losses = 0;    ///< of the signal
    };

    /// Readers can come when this returns. Throws std::runtime_error when nothing can be offered,
    /// or not even the test picture made.
    explicit CaptureChannel(Settings settings);
    ~CaptureChannel();  ///< removes socket and shared memory
    CaptureChannel(const CaptureChannel&) = delete;
    CaptureChannel& operator=(const CaptureChannel&) = delete;

    Report report();
    const Settings& getSettings() const { return settings; }

  private:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;
    enum class Shown { Nothing, Device, Substitute };

    struct State {
        explicit State(std::chrono::nanoseconds patience) : watch(patience) {}

        SignalWatch watch;
        Shown shown = Shown::Nothing;
        std::string substitute;  // in words; of Shown::Substitute
        std::shared_ptr<FrameOutput> output;
        std::string outputProblem;  // empty while there is an output
        GstBufferPtr last;          // for Substitute::Freeze only
        std::uint64_t captured = 0;
        std::uint64_t replaced = 0;
        bool changed = false;
    };

    // The thread's work: CaptureChannel.cpp.
    void run(const std::stop_token& stop);
    void awaitChange(const std::stop_token& stop);
    std::optional<Time> nextStep();
    void step(Time now);
    void lookAfterOutput(Time now);
    void lookAfterDevice(Time now);
    bool isSilentForLong(Time now);
    void openDeviceWhenDue(Time now);
    void openDeviceNow(Time now);
    void fail(const std::string& why, Time now);
    void showWhatIsWanted();
    std::optional<Substitute> decide();
    void startSubstitute(Substitute picture);
    void logChanges();

    // Called by threads of the media library: ChannelFrames.cpp.
    void frameArrived();
    void takeDeviceFrame(GstBufferPtr frame);
    void takeSubstituteFrame(GstBufferPtr frame);
    void wake();

    const Settings settings;
    const std::function<void()> arrived = [this] { frameArrived(); };
    utils::Synchronised<State> state;
    std::condition_variable_any changed;  // of the state

    // The thread's own:
    std::unique_ptr<FramePipeline> device;
    std::unique_ptr<FramePipeline> substitute;
    std::optional<Substitute> substituted;
    Time nextTry{};                   // to open the device
    Time reopenAt{};                  // when it is still silent
    Time nextOutput{};                // when there is none
    std::optional<Time> nextAttempt;  // after a step that failed
    SignalWatch::State logged = SignalWatch::State::NoDevice;

    std::jthread thread;  // last: it uses the others
};

}  // namespace tarn::peers::ingest_service
