#pragma once

#include <functional>
#include <memory>
#include <string>

#include "peers/pipeline_process/GstPointers.h"

namespace tarn::peers::ingest_service {

/// The library's own function for that is inline, and no part of a type that files share.
struct ReleaseBuffer {
    void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
};
using GstBufferPtr = std::unique_ptr<GstBuffer, ReleaseBuffer>;

/// An element of a pipeline by its name; null when there is none.
GstElementPtr elementOf(GstElement& pipeline, const char* name);

/// A pipeline whose frames, which arrive at its element "end", are given away. One thread at a
/// time; the functions are called by threads of the media library, and must not wait for the
/// pipeline's end.
class FramePipeline {
  public:
    using Take = std::function<void(GstBufferPtr)>;
    using Trouble = std::function<void()>;

    /// `pipeline` does not play yet. `trouble` says that there is something to be read in
    /// `takeTrouble`.
    FramePipeline(GstElementPtr pipeline, Take take, Trouble trouble);
    ~FramePipeline();  ///< waits until nobody is in one of the functions any more
    FramePipeline(const FramePipeline&) = delete;
    FramePipeline& operator=(const FramePipeline&) = delete;

    GstElement& element() { return *pipeline; }

    /// False with the reason when it cannot be.
    bool play(std::string& error);

    /// The next error, which may also be the end of the stream; empty when there is none.
    std::string takeTrouble();

  private:
    static GstPadProbeReturn giveAway(GstPad* pad, GstPadProbeInfo* info, gpointer self);
    static GstBusSyncReply notice(GstBus* bus, GstMessage* message, gpointer self);

    const Take take;
    const Trouble trouble;
    const GstElementPtr pipeline;
};

}  // namespace tarn::peers::ingest_service
