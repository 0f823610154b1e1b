#include "cli/Json.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/util/json_util.h>

#include <nlohmann/json.hpp>
#include <vector>

#include "cli/CommandError.h"

namespace tarn::cli {

using nlohmann::ordered_json;

namespace {

// Protobuf's own conversion leaves extensions out. A message of ours has one at most: its content.
void addExtensions(ordered_json& document, const google::protobuf::Message& message) {
    std::vector<const google::protobuf::FieldDescriptor*> fields;
    message.GetReflection()->ListFields(message, &fields);
    for (const auto* const field : fields) {
        if (field->is_extension() && !field->is_repeated() && field->message_type() != nullptr) {
            document["content"] = toJson(message.GetReflection()->GetMessage(message, field));
        }
    }
}

}  // namespace

ordered_json toJson(const google::protobuf::Message& message) {
    google::protobuf::util::JsonPrintOptions options;
    options.preserve_proto_field_names = true;
    std::string text;
    const auto status = google::protobuf::util::MessageToJsonString(message, &text, options);
    auto document = ordered_json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (!status.ok() || document.is_discarded()) {
        throw CommandError(ExitStatus::Failed, "the answer cannot be written as JSON");
    }
    addExtensions(document, message);
    return document;
}

std::string pretty(const ordered_json& document) {
    return document.dump(2, ' ', /*ensure_ascii=*/false, ordered_json::error_handler_t::replace);
}

std::string oneLine(const ordered_json& document) {
    return document.dump(-1, ' ', /*ensure_ascii=*/false, ordered_json::error_handler_t::replace);
}

}  // namespace tarn::cli
