#pragma once

#include <string>

#include "peers/ingest_service/channel/CaptureFormat.h"
#include "peers/ingest_service/channel/FrameCounter.h"
#include "peers/ingest_service/channel/FramePipeline.h"
#include "platform/utils/Synchronised.h"

namespace tarn::peers::ingest_service {

/// The end of a channel that readers see: a socket with frames in shared memory. It stays as it is
/// whatever the frames come from. A reader that is slow costs frames, not the channel.
class FrameOutput {
  public:
    /// Nobody may listen on the path. Throws std::runtime_error.
    FrameOutput(const CaptureFormat& format, unsigned delay, const std::string& socketPath);
    ~FrameOutput();  ///< removes socket and shared memory
    FrameOutput(const FrameOutput&) = delete;
    FrameOutput& operator=(const FrameOutput&) = delete;

    /// Any thread. It is numbered as the next one, whatever its time stamp says. Returns it as
    /// readers get it.
    GstBufferPtr offer(GstBufferPtr frame);

    /// Frames that were offered and that no reader was given.
    std::uint64_t dropped() const { return counter.dropped(); }

    /// What has gone wrong, which is for good; empty when nothing has.
    std::string trouble() const;

  private:
    void build(const CaptureFormat& format, unsigned delay, const std::string& socketPath);

    const GstClockTime frameTime;
    FrameCounter counter;
    utils::Synchronised<std::uint64_t> offered;
    GstElementPtr pipeline;
    GstElementPtr entrance;
};

}  // namespace tarn::peers::ingest_service
