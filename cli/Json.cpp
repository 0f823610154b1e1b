#include "cli/Json.h"

#include <google/protobuf/util/json_util.h>

#include <nlohmann/json.hpp>

#include "cli/CommandError.h"

namespace tarn::cli {

using nlohmann::ordered_json;

ordered_json toJson(const google::protobuf::Message& message) {
    google::protobuf::util::JsonPrintOptions options;
    options.preserve_proto_field_names = true;
    std::string text;
    const auto status = google::protobuf::util::MessageToJsonString(message, &text, options);
    auto document = ordered_json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (!status.ok() || document.is_discarded()) {
        throw CommandError(ExitStatus::Failed, "the answer cannot be written as JSON");
    }
    return document;
}

std::string pretty(const ordered_json& document) {
    return document.dump(2, ' ', /*ensure_ascii=*/false, ordered_json::error_handler_t::replace);
}

std::string oneLine(const ordered_json& document) {
    return document.dump(-1, ' ', /*ensure_ascii=*/false, ordered_json::error_handler_t::replace);
}

}  // namespace tarn::cli
