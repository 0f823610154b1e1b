#include "peers/storage_elements/StorageElements.h"

#include <gst/base/gstpushsrc.h>

#include <atomic>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "peers/storage_elements/ElementSettings.h"
#include "peers/storage_elements/Segments.h"
#include "peers/storage_elements/TrackPlayer.h"

namespace {

using namespace tarn::peers::storage_elements;

constexpr std::chrono::milliseconds betweenLooks(50);

enum OwnProperty : guint { PropertyStart = FirstOther, PropertyStopAtEnd };

struct Source {
    ElementSettings settings;
    std::string start = "oldest";
    bool stopsAtEnd = false;
    std::unique_ptr<TrackPlayer> player;
    std::optional<Segments> segments;
    std::string caps;
    bool isGap = false;
    std::atomic<bool> mustUnlock = false;
};

struct TarnStorageSource {
    GstPushSrc parent;
    Source* source;
};

struct TarnStorageSourceClass {
    GstPushSrcClass parent;
};

G_DEFINE_TYPE(TarnStorageSource, tarn_storage_source, GST_TYPE_PUSH_SRC)

Source& stateOf(gpointer element) {
    return *static_cast<TarnStorageSource*>(element)->source;
}

std::string workerNameOf(gpointer element) {
    const auto& name = stateOf(element).settings.workerName;
    return name.empty() ? GST_OBJECT_NAME(element) : name;
}

void fail(gpointer element, const std::exception& failure) {
    GST_ELEMENT_ERROR(element, RESOURCE, READ, ("%s", failure.what()), (nullptr));
}

gboolean start(GstBaseSrc* element) {
    auto& source = stateOf(element);
    try {
        const auto begin = parseStart(source.start);
        source.player = std::make_unique<TrackPlayer>(
            locationOf(source.settings), source.settings.track, workerNameOf(element), begin,
            source.stopsAtEnd ? TrackPlayer::AtEnd::Stop : TrackPlayer::AtEnd::Follow);
        source.segments.reset();
        source.caps.clear();
        source.isGap = false;
        return TRUE;
    } catch (const std::exception& failure) {
        fail(element, failure);
        return FALSE;
    }
}

gboolean stop(GstBaseSrc* element) {
    stateOf(element).player.reset();
    return TRUE;
}

gboolean unlock(GstBaseSrc* element) {
    stateOf(element).mustUnlock = true;
    return TRUE;
}

gboolean unlockStop(GstBaseSrc* element) {
    stateOf(element).mustUnlock = false;
    return TRUE;
}

gboolean isSeekable(GstBaseSrc*) {
    return FALSE;
}

// The running time of the first buffer: now, when what is played is written just now.
GstClockTime firstRunningTime(GstBaseSrc* element) {
    const auto now = gst_base_src_is_live(element)
                         ? gst_element_get_current_running_time(GST_ELEMENT(element))
                         : GST_CLOCK_TIME_NONE;
    return GST_CLOCK_TIME_IS_VALID(now) ? now : 0;
}

void announceCaps(GstBaseSrc* element, const std::string& text) {
    auto& source = stateOf(element);
    if (text.empty() || text == source.caps) {
        return;
    }
    GstCaps* const caps = gst_caps_from_string(text.c_str());
    if (caps == nullptr) {
        throw std::runtime_error("The track holds caps that cannot be read");
    }
    const bool isSet = gst_base_src_set_caps(element, caps);
    gst_caps_unref(caps);
    if (!isSet) {
        throw std::runtime_error("What follows does not take what the track holds: " + text);
    }
    source.caps = text;
}

GstBuffer* bufferOf(const DecodedFrame& frame) {
    GstBuffer* const buffer = gst_buffer_new_allocate(nullptr, frame.bytes.size(), nullptr);
    if (buffer == nullptr) {
        throw std::runtime_error("There is no memory for a buffer");
    }
    gst_buffer_fill(buffer, 0, frame.bytes.data(), frame.bytes.size());
    buffer->pts = frame.head.pts;
    buffer->dts = frame.head.dts;
    buffer->duration = frame.head.duration;
    gst_buffer_set_flags(buffer, static_cast<GstBufferFlags>(frame.head.flags));
    return buffer;
}

GstBuffer* present(GstBaseSrc* element, const DecodedFrame& frame) {
    auto& source = stateOf(element);
    announceCaps(element, frame.head.caps);
    GstBuffer* const buffer = bufferOf(frame);
    if (!source.segments) {
        source.segments.emplace(firstRunningTime(element));
    }
    if (const auto segment = source.segments->before(buffer, source.isGap)) {
        gst_base_src_new_segment(element, &*segment);
        GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DISCONT);
        source.isGap = false;
    }
    return buffer;
}

GstFlowReturn playNext(GstBaseSrc* element, GstBuffer** buffer) {
    auto& source = stateOf(element);
    DecodedFrame frame;
    while (!source.mustUnlock) {
        switch (source.player->next(betweenLooks, frame)) {
            case TrackPlayer::Result::Frame:
                *buffer = present(element, frame);
                return GST_FLOW_OK;
            case TrackPlayer::Result::End:
                return GST_FLOW_EOS;
            case TrackPlayer::Result::Overtaken:
                source.isGap = true;
                GST_ELEMENT_WARNING(element, RESOURCE, READ, ("%s", source.player->message()),
                                    (nullptr));
                break;
            case TrackPlayer::Result::NoneYet:
                break;
        }
    }
    return GST_FLOW_FLUSHING;
}

GstFlowReturn create(GstPushSrc* element, GstBuffer** buffer) {
    try {
        return playNext(GST_BASE_SRC(element), buffer);
    } catch (const std::exception& failure) {
        fail(element, failure);
        return GST_FLOW_ERROR;
    }
}

void setProperty(GObject* object, guint property, const GValue* value, GParamSpec* spec) {
    auto& source = stateOf(object);
    if (property == PropertyStart) {
        source.start = textOf(value);
        gst_base_src_set_live(GST_BASE_SRC(object), source.start == "live");
    } else if (property == PropertyStopAtEnd) {
        source.stopsAtEnd = g_value_get_boolean(value);
    } else if (!setSharedProperty(source.settings, property, value)) {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, spec);
    }
}

void getProperty(GObject* object, guint property, GValue* value, GParamSpec* spec) {
    const auto& source = stateOf(object);
    if (property == PropertyStart) {
        g_value_set_string(value, source.start.c_str());
    } else if (property == PropertyStopAtEnd) {
        g_value_set_boolean(value, source.stopsAtEnd);
    } else if (!getSharedProperty(source.settings, property, value)) {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, spec);
    }
}

void finalize(GObject* object) {
    delete static_cast<TarnStorageSource*>(static_cast<gpointer>(object))->source;
    G_OBJECT_CLASS(tarn_storage_source_parent_class)->finalize(object);
}

void installOwnProperties(GObjectClass* object) {
    constexpr auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS);
    g_object_class_install_property(
        object, PropertyStart,
        g_param_spec_string("start", "Start",
                            "Where to begin: oldest, live or a time point in nanoseconds", "oldest",
                            flags));
    g_object_class_install_property(
        object, PropertyStopAtEnd,
        g_param_spec_boolean("stop-at-end", "Stop at the end",
                             "Ends after what the track held at the start, instead of following "
                             "who writes it",
                             FALSE, flags));
}

void tarn_storage_source_init(TarnStorageSource* element) {
    element->source = new Source;
    gst_base_src_set_format(GST_BASE_SRC(element), GST_FORMAT_TIME);
}

void tarn_storage_source_class_init(TarnStorageSourceClass* type) {
    auto* const object = G_OBJECT_CLASS(type);
    object->set_property = setProperty;
    object->get_property = getProperty;
    object->finalize = finalize;
    installSharedProperties(object);
    installOwnProperties(object);

    auto* const element = GST_ELEMENT_CLASS(type);
    gst_element_class_set_static_metadata(element, "Loop storage source", "Source",
                                          "Plays a track of a loop storage server", "Tarn");
    gst_element_class_add_pad_template(
        element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_CAPS_ANY));

    auto* const base = GST_BASE_SRC_CLASS(type);
    base->start = start;
    base->stop = stop;
    base->unlock = unlock;
    base->unlock_stop = unlockStop;
    base->is_seekable = isSeekable;
    GST_PUSH_SRC_CLASS(type)->create = create;
}

}  // namespace

namespace tarn::peers::storage_elements {

GType storageSourceType() {
    return tarn_storage_source_get_type();
}

}  // namespace tarn::peers::storage_elements
