/* A plug-in of the media library with nothing in it: only whether it is loaded counts. */
#include <gst/gst.h>

#define PACKAGE "tarn tests"

static gboolean initialise(GstPlugin* plugin) {
    return plugin != NULL;
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, tarntest, "For tests", initialise, "1",
                  "Proprietary", "tarn", "http://localhost")
