#include "peers/ingest_service/channel/FramePipeline.h"

#include <utility>

#include "peers/pipeline_process/BusText.h"

namespace tarn::peers::ingest_service {

namespace {

using GstPadPtr = std::unique_ptr<GstPad, ReleaseWith<gst_object_unref>>;

constexpr auto troubles = static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_EOS);

}  // namespace

GstElementPtr elementOf(GstElement& pipeline, const char* name) {
    return GstElementPtr(gst_bin_get_by_name(GST_BIN(&pipeline), name));
}

FramePipeline::FramePipeline(GstElementPtr given, Take take, Trouble trouble)
    : take(std::move(take)), trouble(std::move(trouble)), pipeline(std::move(given)) {
    const auto end = elementOf(*pipeline, "end");
    const GstPadPtr pad(gst_element_get_static_pad(end.get(), "sink"));
    gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_BUFFER, giveAway, this, nullptr);
    const GstBusPtr bus(gst_element_get_bus(pipeline.get()));
    gst_bus_set_sync_handler(bus.get(), notice, this, nullptr);
}

FramePipeline::~FramePipeline() {
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    const GstBusPtr bus(gst_element_get_bus(pipeline.get()));
    gst_bus_set_sync_handler(bus.get(), nullptr, nullptr, nullptr);
}

GstPadProbeReturn FramePipeline::giveAway(GstPad*, GstPadProbeInfo* info, gpointer self) {
    static_cast<FramePipeline*>(self)->take(GstBufferPtr(GST_PAD_PROBE_INFO_BUFFER(info)));
    return GST_PAD_PROBE_HANDLED;  // it is ours now
}

GstBusSyncReply FramePipeline::notice(GstBus*, GstMessage* message, gpointer self) {
    if ((GST_MESSAGE_TYPE(message) & troubles) != 0) {
        static_cast<FramePipeline*>(self)->trouble();
    }
    return GST_BUS_PASS;
}

bool FramePipeline::play(std::string& error) {
    if (gst_element_set_state(pipeline.get(), GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE) {
        return true;
    }
    error = takeTrouble();
    if (error.empty()) {
        error = "it cannot be played";
    }
    return false;
}

std::string FramePipeline::takeTrouble() {
    const GstBusPtr bus(gst_element_get_bus(pipeline.get()));
    const GstMessagePtr message(gst_bus_pop_filtered(bus.get(), troubles));
    if (!message) {
        return {};
    }
    return GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_EOS ? "the stream has ended"
                                                              : textOf(*message).message;
}

}  // namespace tarn::peers::ingest_service
