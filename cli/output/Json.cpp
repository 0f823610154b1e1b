#include "cli/output/Json.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/util/json_util.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <string_view>
#include <vector>

#include "cli/CommandError.h"
#include "platform/utils/EscapedText.h"
#include "platform/utils/Utf8.h"

namespace tarn::cli {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using nlohmann::ordered_json;

namespace {

ordered_json convert(const Message& message);

// Protobuf's own conversion leaves extensions out. A message of ours has one at most: its content.
void addExtensions(ordered_json& document, const Message& message) {
    std::vector<const FieldDescriptor*> fields;
    message.GetReflection()->ListFields(message, &fields);
    for (const auto* const field : fields) {
        if (field->is_extension() && !field->is_repeated() && field->message_type() != nullptr) {
            document["content"] = convert(message.GetReflection()->GetMessage(message, field));
        }
    }
}

ordered_json convert(const Message& message) {
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

void replaceInvalidUtf8(Message& message);

void replaceInText(Message& message, const FieldDescriptor* field) {
    const auto& fields = *message.GetReflection();
    if (!field->is_repeated()) {
        fields.SetString(&message, field,
                         utils::replaceInvalidUtf8(fields.GetString(message, field)));
        return;
    }
    for (int i = 0; i < fields.FieldSize(message, field); ++i) {
        fields.SetRepeatedString(
            &message, field, i,
            utils::replaceInvalidUtf8(fields.GetRepeatedString(message, field, i)));
    }
}

void replaceInMessages(Message& message, const FieldDescriptor* field) {
    const auto& fields = *message.GetReflection();
    if (!field->is_repeated()) {
        return replaceInvalidUtf8(*fields.MutableMessage(&message, field));
    }
    for (int i = 0; i < fields.FieldSize(message, field); ++i) {
        replaceInvalidUtf8(*fields.MutableRepeatedMessage(&message, field, i));
    }
}

// Puts U+FFFD in the place of each byte that is no UTF-8, in every text of the message, its
// extensions included. Fields that are bytes by definition stay as they are.
void replaceInvalidUtf8(Message& message) {
    std::vector<const FieldDescriptor*> present;
    message.GetReflection()->ListFields(message, &present);
    for (const auto* const field : present) {
        if (field->type() == FieldDescriptor::TYPE_STRING) {
            replaceInText(message, field);
        } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
            replaceInMessages(message, field);
        }
    }
}

void appendEscape(std::string& result, std::uint32_t codePoint) {
    constexpr char digits[] = "0123456789abcdef";
    result += "\\u";
    for (const unsigned shift : {12U, 8U, 4U, 0U}) {
        result += digits[(codePoint >> shift) & 15U];
    }
}

// The library escapes what JSON demands, which is only the first set of control characters. What
// else could reach a terminal stands inside of texts too, and none of it is above U+FFFF.
std::string escapeUnsafe(const std::string& json) {
    std::string result;
    result.reserve(json.size());
    for (std::string_view rest = json; !rest.empty();) {
        const auto character = utils::firstCharacter(rest);
        const auto length = std::max<std::size_t>(character.length, 1);
        if (character.codePoint >= 0x7F && utils::isUnsafe(character.codePoint)) {
            appendEscape(result, character.codePoint);
        } else {
            result += rest.substr(0, length);
        }
        rest.remove_prefix(length);
    }
    return result;
}

std::string textOf(const ordered_json& document, int indent) {
    return escapeUnsafe(
        document.dump(indent, ' ', /*ensure_ascii=*/false, ordered_json::error_handler_t::replace));
}

}  // namespace

// Protobuf drops some of the bytes that are no UTF-8 and lets others through, which are no JSON.
ordered_json toJson(const Message& message) {
    const std::unique_ptr<Message> copy(message.New());
    copy->CopyFrom(message);
    replaceInvalidUtf8(*copy);
    return convert(*copy);
}

std::string pretty(const ordered_json& document) {
    return textOf(document, 2);
}

std::string oneLine(const ordered_json& document) {
    return textOf(document, -1);
}

}  // namespace tarn::cli
