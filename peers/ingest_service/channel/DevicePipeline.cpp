#include "peers/ingest_service/channel/DevicePipeline.h"

#include <filesystem>

#include "peers/ingest_service/channel/FramePipeline.h"
#include "peers/ingest_service/channel/PipelineTexts.h"
#include "peers/pipeline_process/BusText.h"
#include "peers/pipeline_process/PipelineParser.h"

namespace tarn::peers::ingest_service {

namespace {

using GstPadPtr = std::unique_ptr<GstPad, ReleaseWith<gst_object_unref>>;
using GstCapsPtr = std::unique_ptr<GstCaps, ReleaseWith<gst_caps_unref>>;
using GstStructurePtr = std::unique_ptr<GstStructure, ReleaseWith<gst_structure_free>>;

// Frames are counted where they leave the device, before a conversion could hold them up.
std::string sourceText(const DeviceSource& source) {
    return (source.text.empty() ? std::string("v4l2src name=device") : source.text) +
           " ! identity name=arrival silent=true";
}

GstPadProbeReturn callArrived(GstPad*, GstPadProbeInfo*, gpointer arrived) {
    (*static_cast<const std::function<void()>*>(arrived))();
    return GST_PAD_PROBE_OK;
}

// An error that was posted, or that nothing was said of.
std::string errorOf(GstElement& pipeline) {
    const GstBusPtr bus(gst_element_get_bus(&pipeline));
    const GstMessagePtr message(gst_bus_pop_filtered(bus.get(), GST_MESSAGE_ERROR));
    return message ? textOf(*message).message : "it cannot be opened";
}

// What says nothing of it is progressive, as the media library has it. (What asks whether lists can
// intersect says that they always can.)
bool hasFields(const GstStructure& format) {
    const GstStructurePtr wanted(
        gst_structure_from_string("caps, interlace-mode=(string){ interleaved, mixed }", nullptr));
    const auto* const mode = gst_structure_get_value(&format, "interlace-mode");
    const auto* const modes = gst_structure_get_value(wanted.get(), "interlace-mode");
    return mode != nullptr && gst_value_intersect(nullptr, mode, modes) != FALSE;
}

Scan scanOf(GstElement& arrival) {
    const GstPadPtr pad(gst_element_get_static_pad(&arrival, "sink"));
    const GstCapsPtr caps(gst_pad_peer_query_caps(pad.get(), nullptr));
    for (guint n = 0; caps && n < gst_caps_get_size(caps.get()); ++n) {
        if (hasFields(*gst_caps_get_structure(caps.get(), n))) {
            return Scan::Interlaced;
        }
    }
    return Scan::Progressive;
}

bool addConversion(GstElement& pipeline, GstElement& arrival, const std::string& text,
                   std::string& error) {
    GError* failure = nullptr;
    auto* const bin = gst_parse_bin_from_description(text.c_str(), TRUE, &failure);
    const GErrorPtr owner(failure);
    if (bin == nullptr || failure != nullptr) {
        error = failure != nullptr ? failure->message : "the picture cannot be converted";
        return false;
    }
    gst_bin_add(GST_BIN(&pipeline), bin);
    if (gst_element_link(&arrival, bin) == FALSE) {
        error = "its picture cannot be converted";
        return false;
    }
    return true;
}

// A pipeline must not be let go of in another state than this.
void close(GstElementPtr& pipeline) {
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    pipeline.reset();
}

}  // namespace

bool isThere(const DeviceSource& source) {
    return !source.text.empty() || (!source.path.empty() && std::filesystem::exists(source.path));
}

GstElementPtr openDevice(const DeviceSource& source, const CaptureFormat& format,
                         const std::function<void()>& arrived, std::string& error) {
    auto pipeline = parsePipeline(sourceText(source), error);
    if (!pipeline) {
        return nullptr;
    }
    if (const auto device = elementOf(*pipeline, "device"); device && source.text.empty()) {
        g_object_set(device.get(), "device", source.path.c_str(), nullptr);
    }
    const auto arrival = elementOf(*pipeline, "arrival");
    const GstPadPtr pad(gst_element_get_static_pad(arrival.get(), "sink"));
    gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_BUFFER, callArrived,
                      const_cast<std::function<void()>*>(&arrived), nullptr);
    if (gst_element_set_state(pipeline.get(), GST_STATE_READY) == GST_STATE_CHANGE_FAILURE) {
        error = errorOf(*pipeline);
        close(pipeline);
    } else if (!addConversion(*pipeline, *arrival, conversionText(format, scanOf(*arrival)),
                              error)) {
        close(pipeline);
    }
    return pipeline;
}

}  // namespace tarn::peers::ingest_service
