#include "peers/storage_elements/StorageElements.h"

#include <gst/base/gstbasesink.h>

#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "peers/storage_elements/ElementSettings.h"
#include "peers/storage_elements/TrackRecorder.h"

namespace {

using namespace tarn::peers::storage_elements;

// Flags of a buffer that mean something to who plays it. From GST_BUFFER_FLAG_LAST on they are the
// medium's own: fields of interlaced video, for one. The others are about memory and files, and
// about a source being live.
constexpr guint mediumFlags = ~(static_cast<guint>(GST_BUFFER_FLAG_LAST) - 1);
constexpr guint keptFlags = mediumFlags | GST_BUFFER_FLAG_DISCONT | GST_BUFFER_FLAG_RESYNC |
                            GST_BUFFER_FLAG_HEADER | GST_BUFFER_FLAG_GAP |
                            GST_BUFFER_FLAG_DROPPABLE | GST_BUFFER_FLAG_DELTA_UNIT |
                            GST_BUFFER_FLAG_MARKER | GST_BUFFER_FLAG_CORRUPTED |
                            GST_BUFFER_FLAG_DECODE_ONLY | GST_BUFFER_FLAG_NON_DROPPABLE;

static_assert(deltaUnit == GST_BUFFER_FLAG_DELTA_UNIT);

enum OwnProperty : guint { PropertyDurable = FirstOther };

struct Sink {
    ElementSettings settings;
    bool isDurable = false;
    std::unique_ptr<TrackRecorder> recorder;
    std::string caps;
    enum class Caps { Written, New } capsState = Caps::New;
};

struct TarnStorageSink {
    GstBaseSink parent;
    Sink* sink;
};

struct TarnStorageSinkClass {
    GstBaseSinkClass parent;
};

G_DEFINE_TYPE(TarnStorageSink, tarn_storage_sink, GST_TYPE_BASE_SINK)

Sink& stateOf(gpointer element) {
    return *static_cast<TarnStorageSink*>(element)->sink;
}

// Runs what may throw; a failure is the element's error on the bus.
template <typename Work>
bool guarded(gpointer element, Work work) {
    try {
        work();
        return true;
    } catch (const std::exception& failure) {
        GST_ELEMENT_ERROR(element, RESOURCE, WRITE, ("%s", failure.what()), (nullptr));
        return false;
    }
}

std::string workerNameOf(gpointer element) {
    const auto& name = stateOf(element).settings.workerName;
    return name.empty() ? GST_OBJECT_NAME(element) : name;
}

gboolean start(GstBaseSink* element) {
    auto& sink = stateOf(element);
    return guarded(element, [&] {
        const auto now = g_get_real_time() * (GST_SECOND / G_USEC_PER_SEC);
        sink.recorder =
            std::make_unique<TrackRecorder>(locationOf(sink.settings), sink.settings.track,
                                            workerNameOf(element), static_cast<std::int64_t>(now),
                                            sink.isDurable ? TrackRecorder::Acknowledged::Disk
                                                           : TrackRecorder::Acknowledged::Memory);
        sink.capsState = Sink::Caps::New;
    });
}

gboolean stop(GstBaseSink* element) {
    stateOf(element).recorder.reset();
    return TRUE;
}

gboolean setCaps(GstBaseSink* element, GstCaps* caps) {
    auto& sink = stateOf(element);
    gchar* const text = gst_caps_to_string(caps);
    sink.caps = text;
    g_free(text);
    sink.capsState = Sink::Caps::New;
    return TRUE;
}

// Where one can begin to play, the caps are there.
FrameHead headOf(Sink& sink, const GstBuffer* buffer) {
    FrameHead head{.pts = buffer->pts,
                   .dts = buffer->dts,
                   .duration = buffer->duration,
                   .flags = GST_BUFFER_FLAGS(buffer) & keptFlags,
                   .caps = {}};
    const bool isKey = (head.flags & deltaUnit) == 0;
    if (isKey || sink.capsState == Sink::Caps::New) {
        head.caps = sink.caps;
        sink.capsState = Sink::Caps::Written;
    }
    return head;
}

std::optional<std::uint64_t> runningTimeOf(GstBaseSink* element, const GstBuffer* buffer) {
    const auto time = GST_CLOCK_TIME_IS_VALID(buffer->dts) ? buffer->dts : buffer->pts;
    const auto running = gst_segment_to_running_time(&element->segment, GST_FORMAT_TIME, time);
    return GST_CLOCK_TIME_IS_VALID(running) ? std::optional<std::uint64_t>(running) : std::nullopt;
}

GstFlowReturn render(GstBaseSink* element, GstBuffer* buffer) {
    auto& sink = stateOf(element);
    GstMapInfo map;
    if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) {
        GST_ELEMENT_ERROR(element, RESOURCE, READ, ("A buffer cannot be read"), (nullptr));
        return GST_FLOW_ERROR;
    }
    const bool isWritten = guarded(element, [&] {
        sink.recorder->record(headOf(sink, buffer), map.data, map.size,
                              runningTimeOf(element, buffer));
    });
    gst_buffer_unmap(buffer, &map);
    return isWritten ? GST_FLOW_OK : GST_FLOW_ERROR;
}

// The end of the stream is passed on when everything is in the track.
gboolean event(GstBaseSink* element, GstEvent* event) {
    if (GST_EVENT_TYPE(event) == GST_EVENT_EOS) {
        guarded(element, [&] { stateOf(element).recorder->flush(); });
    }
    return GST_BASE_SINK_CLASS(tarn_storage_sink_parent_class)->event(element, event);
}

void setProperty(GObject* object, guint property, const GValue* value, GParamSpec* spec) {
    auto& sink = stateOf(object);
    if (property == PropertyDurable) {
        sink.isDurable = g_value_get_boolean(value);
    } else if (!setSharedProperty(sink.settings, property, value)) {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, spec);
    }
}

void getProperty(GObject* object, guint property, GValue* value, GParamSpec* spec) {
    const auto& sink = stateOf(object);
    if (property == PropertyDurable) {
        g_value_set_boolean(value, sink.isDurable);
    } else if (!getSharedProperty(sink.settings, property, value)) {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, spec);
    }
}

void finalize(GObject* object) {
    delete static_cast<TarnStorageSink*>(static_cast<gpointer>(object))->sink;
    G_OBJECT_CLASS(tarn_storage_sink_parent_class)->finalize(object);
}

void installOwnProperties(GObjectClass* object) {
    constexpr auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS);
    g_object_class_install_property(
        object, PropertyDurable,
        g_param_spec_boolean("durable", "Durable",
                             "The server has what was recorded on the disk before it acknowledges "
                             "it, also the end of the stream: a power cut takes no more than the "
                             "few buffers that are on their way",
                             FALSE, flags));
}

void tarn_storage_sink_init(TarnStorageSink* element) {
    element->sink = new Sink;
    gst_base_sink_set_sync(&element->parent, FALSE);  // as fast as it comes
}

void tarn_storage_sink_class_init(TarnStorageSinkClass* type) {
    auto* const object = G_OBJECT_CLASS(type);
    object->set_property = setProperty;
    object->get_property = getProperty;
    object->finalize = finalize;
    installSharedProperties(object);
    installOwnProperties(object);

    auto* const element = GST_ELEMENT_CLASS(type);
    gst_element_class_set_static_metadata(element, "Loop storage sink", "Sink",
                                          "Writes buffers into a track of a loop storage server",
                                          "Tarn");
    gst_element_class_add_pad_template(
        element, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_CAPS_ANY));

    auto* const base = GST_BASE_SINK_CLASS(type);
    base->start = start;
    base->stop = stop;
    base->set_caps = setCaps;
    base->render = render;
    base->event = event;
}

}  // namespace

namespace tarn::peers::storage_elements {

GType storageSinkType() {
    return tarn_storage_sink_get_type();
}

}  // namespace tarn::peers::storage_elements
