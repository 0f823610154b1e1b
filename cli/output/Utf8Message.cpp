#include "cli/output/Utf8Message.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <vector>

#include "platform/utils/Utf8.h"

namespace tarn::cli {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

namespace {

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

}  // namespace

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

}  // namespace tarn::cli
