#include "peers/pipeline_process/BusText.h"

namespace tarn::peers {

namespace {

constexpr std::size_t maxBytes = 16384;

}  // namespace

BusText textOf(GstMessage& message) {
    GError* error = nullptr;
    gchar* debug = nullptr;
    if (GST_MESSAGE_TYPE(&message) == GST_MESSAGE_WARNING) {
        gst_message_parse_warning(&message, &error, &debug);
    } else {
        gst_message_parse_error(&message, &error, &debug);
    }
    const GErrorPtr errorOwner(error);
    const GCharPtr debugOwner(debug);
    std::string text = GST_OBJECT_NAME(GST_MESSAGE_SRC(&message));
    text += ": ";
    text += error != nullptr ? error->message : "unknown error";
    return {text.substr(0, maxBytes),
            std::string(debug != nullptr ? debug : "").substr(0, maxBytes)};
}

}  // namespace tarn::peers
