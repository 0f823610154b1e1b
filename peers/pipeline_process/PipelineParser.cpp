#include "peers/pipeline_process/PipelineParser.h"

namespace tarn::peers {

namespace {

using ParseContextPtr = std::unique_ptr<GstParseContext, ReleaseWith<gst_parse_context_free>>;

// Empty when at most one is missing: the message names that one.
std::string missingElements(GstParseContext& context) {
    const GCharArrayPtr names(gst_parse_context_get_missing_elements(&context));
    if (!names || g_strv_length(names.get()) < 2) {
        return {};
    }
    const GCharPtr list(g_strjoinv(", ", names.get()));
    return std::string(" (missing elements: ") + list.get() + ")";
}

std::string describe(const GError& error, GstParseContext& context) {
    std::string text = error.message;
    if (g_error_matches(&error, GST_PARSE_ERROR, GST_PARSE_ERROR_NO_SUCH_ELEMENT)) {
        text += missingElements(context);
    }
    return text;
}

GstElementPtr inPipeline(GstElementPtr element) {
    if (GST_IS_PIPELINE(element.get())) {
        return element;
    }
    GstElementPtr pipeline(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new(nullptr))));
    gst_bin_add(GST_BIN(pipeline.get()), element.get());
    return pipeline;
}

}  // namespace

GstElementPtr parsePipeline(const std::string& text, std::string& error) {
    error.clear();
    if (text.find('\0') != std::string::npos) {
        error = "the pipeline's text holds a zero byte";
        return nullptr;
    }
    const ParseContextPtr context(gst_parse_context_new());
    GError* failure = nullptr;
    GstElement* parsed =
        gst_parse_launch_full(text.c_str(), context.get(), GST_PARSE_FLAG_NONE, &failure);
    const GErrorPtr failureOwner(failure);
    GstElementPtr element(parsed ? GST_ELEMENT(gst_object_ref_sink(parsed)) : nullptr);
    if (failure != nullptr) {
        error = describe(*failure, *context);
        return nullptr;
    }
    if (!element) {
        error = "the pipeline cannot be built";
        return nullptr;
    }
    return inPipeline(std::move(element));
}

}  // namespace tarn::peers
