#include "peers/ingest_service/channel/FrameOutput.h"

#include <unistd.h>

#include <optional>
#include <stdexcept>

#include "peers/ingest_service/channel/PipelineTexts.h"
#include "peers/pipeline_process/BusText.h"
#include "peers/pipeline_process/PipelineParser.h"
#include "platform/socket/IpcPathClaim.h"

namespace tarn::peers::ingest_service {

namespace {

using GstPadPtr = std::unique_ptr<GstPad, ReleaseWith<gst_object_unref>>;

// The element takes another path when there is a file in its way.
void removeStaleSocket(const std::string& path) {
    const tarn::socket::IpcPathClaim claim(path);  // throws when somebody listens
    ::unlink(path.c_str());
}

GstPadProbeReturn countFrame(GstPad*, GstPadProbeInfo* info, gpointer counter) {
    const auto* const frame = GST_PAD_PROBE_INFO_BUFFER(info);
    static_cast<FrameCounter*>(counter)->add(
        FrameCounter::Time(static_cast<std::int64_t>(GST_BUFFER_PTS(frame))),
        FrameCounter::Time(static_cast<std::int64_t>(GST_BUFFER_DURATION(frame))));
    return GST_PAD_PROBE_OK;
}

}  // namespace

FrameOutput::FrameOutput(const CaptureFormat& format, unsigned delay, const std::string& socketPath)
    : frameTime(static_cast<GstClockTime>(frameTimeOf(format).count())), offered(0) {
    build(format, delay, socketPath);
    if (gst_element_set_state(pipeline.get(), GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) {
        const auto why = trouble();
        gst_element_set_state(pipeline.get(), GST_STATE_NULL);
        throw std::runtime_error(socketPath + " cannot be offered: " + why);
    }
}

FrameOutput::~FrameOutput() {
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
}

void FrameOutput::build(const CaptureFormat& format, unsigned delay,
                        const std::string& socketPath) {
    std::string error;
    pipeline = parsePipeline(outputText(format, delay), error);
    if (!pipeline) {
        throw std::runtime_error("frames cannot be offered: " + error);
    }
    removeStaleSocket(socketPath);
    entrance = elementOf(*pipeline, "frames");
    const auto sink = elementOf(*pipeline, "sink");
    g_object_set(sink.get(), "socket-path", socketPath.c_str(), nullptr);
    const GstPadPtr pad(gst_element_get_static_pad(sink.get(), "sink"));
    gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_BUFFER, countFrame, &counter, nullptr);
}

// Frames of several sources have nothing to do with each other's time stamps.
GstBufferPtr FrameOutput::offer(GstBufferPtr given) {
    auto number = offered.lock();
    GstBufferPtr frame(gst_buffer_make_writable(given.release()));
    GST_BUFFER_PTS(frame.get()) = (*number)++ * frameTime;
    GST_BUFFER_DTS(frame.get()) = GST_CLOCK_TIME_NONE;
    GST_BUFFER_DURATION(frame.get()) = frameTime;
    GstFlowReturn taken = GST_FLOW_OK;  // one that is not taken is missing, and counted so
    g_signal_emit_by_name(entrance.get(), "push-buffer", frame.get(), &taken);
    return frame;
}

std::string FrameOutput::trouble() const {
    const GstBusPtr bus(gst_element_get_bus(pipeline.get()));
    const GstMessagePtr message(gst_bus_pop_filtered(bus.get(), GST_MESSAGE_ERROR));
    return message ? textOf(*message).message : std::string();
}

}  // namespace tarn::peers::ingest_service
