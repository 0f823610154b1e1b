#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "peers/ingest_service/CaptureFormat.h"
#include "peers/ingest_service/FrameCounter.h"
#include "peers/pipeline_process/GstPointers.h"

namespace tarn::peers::ingest_service {

/// One channel: frames from a video device, or a test picture with the time of day as time code,
/// into shared memory, from where any number of readers takes them. A reader that is slow costs
/// frames, not the channel. One thread at a time.
///
///     Device ---error--> Lost --after 1 s--> Device, or TestPicture when there is none any more
///     TestPicture --error--> Lost
class CaptureChannel {
  public:
    enum class Signal { Device, TestPicture, Lost };
    using Time = std::chrono::steady_clock::time_point;

    struct Settings {
        CaptureFormat format;
        unsigned delay = 0;      ///< frames by which every frame is held back
        std::string socketPath;  ///< nobody may listen there
        std::string device;      ///< a path; need not be there
    };

    /// Captures when this returns. Throws std::runtime_error when not even the test picture can be
    /// made.
    explicit CaptureChannel(Settings settings);
    ~CaptureChannel();  ///< removes socket and shared memory
    CaptureChannel(const CaptureChannel&) = delete;
    CaptureChannel& operator=(const CaptureChannel&) = delete;

    /// Takes notice of what has happened to the channel since the last call.
    void watch(Time now);

    Signal signal() const { return state; }
    const FrameCounter& frames() const { return counter; }
    const Settings& getSettings() const { return settings; }

  private:
    void start();
    bool startFrom(Signal source, std::string& error);
    void build(Signal source);
    void stop();
    void lose(const std::string& reason, Time now);

    const Settings settings;
    FrameCounter counter;
    Signal state = Signal::Lost;
    Time lostAt{};
    GstElementPtr pipeline;
};

}  // namespace tarn::peers::ingest_service
