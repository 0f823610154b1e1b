#include "peers/pipeline_process/UnaskedEnd.h"

#include <cstring>
#include <memory>

namespace tarn::peers {

namespace {

using GstQueryPtr = std::unique_ptr<GstQuery, ReleaseWith<gst_query_unref>>;

bool isLive(GstElement& source) {
    const GstQueryPtr latency(gst_query_new_latency());
    gboolean live = FALSE;
    if (gst_element_query(&source, latency.get()) != FALSE) {
        gst_query_parse_latency(latency.get(), &live, nullptr, nullptr);
    }
    return live != FALSE;
}

bool isSeekable(GstElement& source) {
    const GstQueryPtr seeking(gst_query_new_seeking(GST_FORMAT_BYTES));
    gboolean seekable = FALSE;
    if (gst_element_query(&source, seeking.get()) != FALSE) {
        gst_query_parse_seeking(seeking.get(), nullptr, &seekable, nullptr, nullptr);
    }
    return seekable != FALSE;
}

bool knowsItsLength(GstElement& element, GstFormat format) {
    gint64 length = -1;
    return gst_element_query_duration(&element, format, &length) != FALSE && length > 0;
}

bool isOpenConnection(GstElement& source) {
    const gchar* const kind = gst_element_get_metadata(&source, GST_ELEMENT_METADATA_KLASS);
    return kind != nullptr && std::strstr(kind, "Network") != nullptr && !isSeekable(source) &&
           !knowsItsLength(source, GST_FORMAT_BYTES);
}

bool isSource(GstElement& element) {
    return GST_OBJECT_FLAG_IS_SET(&element, GST_ELEMENT_FLAG_SOURCE) && !GST_IS_BIN(&element);
}

// A count of -1 is the library's word for no limit.
bool isLimitedBy(GstElement& element, const char* property) {
    const GParamSpec* const spec =
        g_object_class_find_property(G_OBJECT_GET_CLASS(&element), property);
    if (spec != nullptr && spec->value_type == G_TYPE_INT) {
        gint count = -1;
        g_object_get(&element, property, &count, nullptr);
        return count >= 0;
    }
    gboolean wanted = FALSE;
    if (spec != nullptr && spec->value_type == G_TYPE_BOOLEAN) {
        g_object_get(&element, property, &wanted, nullptr);
    }
    return wanted != FALSE;
}

bool isLimited(GstElement& element) {
    return isLimitedBy(element, "num-buffers") || isLimitedBy(element, "eos-after") ||
           isLimitedBy(element, "stop-at-end");
}

bool hasNoEnd(GstElement& element) {
    return isSource(element) && (isLive(element) || isOpenConnection(element));
}

/// The name of the first element for which `holds` is true, in whichever bin it is.
std::string findElement(GstElement& pipeline, bool (*holds)(GstElement&)) {
    const GstIteratorPtr elements(gst_bin_iterate_recurse(GST_BIN(&pipeline)));
    const auto differs = [](gconstpointer value, gconstpointer wanted) -> gint {
        auto* const element = GST_ELEMENT(g_value_get_object(static_cast<const GValue*>(value)));
        return (*static_cast<bool (*const*)(GstElement&)>(wanted))(*element) ? 0 : 1;
    };
    GValue found = G_VALUE_INIT;
    if (gst_iterator_find_custom(elements.get(), differs, &found, &holds) == FALSE) {
        return {};
    }
    const GCharPtr name(gst_object_get_name(GST_OBJECT(g_value_get_object(&found))));
    g_value_unset(&found);
    return name.get();
}

}  // namespace

std::string sourceWithoutEnd(GstElement& pipeline) {
    if (knowsItsLength(pipeline, GST_FORMAT_TIME) || !findElement(pipeline, isLimited).empty()) {
        return {};
    }
    return findElement(pipeline, hasNoEnd);
}

}  // namespace tarn::peers
