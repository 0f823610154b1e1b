#pragma once

#include <gst/gst.h>

#include <memory>

namespace tarn::peers {

/// Gives a C library's object back with the function that it names for that.
template <auto Release>
struct ReleaseWith {
    template <typename T>
    void operator()(T* object) const {
        Release(object);
    }
};

using GstElementPtr = std::unique_ptr<GstElement, ReleaseWith<gst_object_unref>>;
using GstBusPtr = std::unique_ptr<GstBus, ReleaseWith<gst_object_unref>>;
using GstMessagePtr = std::unique_ptr<GstMessage, ReleaseWith<gst_message_unref>>;
using GstIteratorPtr = std::unique_ptr<GstIterator, ReleaseWith<gst_iterator_free>>;
using GErrorPtr = std::unique_ptr<GError, ReleaseWith<g_error_free>>;
using GCharPtr = std::unique_ptr<gchar, ReleaseWith<g_free>>;
using GCharArrayPtr = std::unique_ptr<gchar*, ReleaseWith<g_strfreev>>;

}  // namespace tarn::peers
