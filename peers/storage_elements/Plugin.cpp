// Loop storage tracks as places where pipelines end and begin.
#include <gst/gst.h>

#include "peers/storage_elements/StorageElements.h"

namespace {

using namespace tarn::peers::storage_elements;

gboolean init(GstPlugin* plugin) {
    return gst_element_register(plugin, "tarnstoragesink", GST_RANK_NONE, storageSinkType()) &&
           gst_element_register(plugin, "tarnstoragesrc", GST_RANK_NONE, storageSourceType());
}

}  // namespace

#define PACKAGE "tarn"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, halden_tarn_storage_kln,
                  "Tracks of a loop storage server", init, "0.1.0", "Proprietary", "tarn", "tarn")
