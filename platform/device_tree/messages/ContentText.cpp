#include "platform/device_tree/messages/ContentText.h"

#include "platform/device_tree/StatusValue.h"
#include "platform/device_tree/persistent/Content.h"
#include "platform/utils/Printable.h"

namespace tarn::device_tree {

using tarn::utils::printable;

namespace {

const char* nameOf(DeviceClass deviceClass) {
    switch (deviceClass) {
        case DeviceClass::Generic:
            return "generic";
        case DeviceClass::System:
            return "system";
        case DeviceClass::Capture:
            return "capture";
        case DeviceClass::LoopStorage:
            return "loop storage";
        case DeviceClass::Host:
            return "host";
    }
    return "unknown class";
}

const char* nameOf(GlobalStatus::Level level) {
    switch (level) {
        case GlobalStatus::Level::Unknown:
            return "unknown";
        case GlobalStatus::Level::Ok:
            return "ok";
        case GlobalStatus::Level::Warning:
            return "warning";
        case GlobalStatus::Level::Error:
            return "error";
    }
    return "unknown level";
}

std::string quoted(const std::string& text) {
    return '"' + printable(text) + '"';
}

std::string lineOf(const Content& content) {
    const Description& description = *content.description;
    const GlobalStatus& global = content.state->global;
    std::string line = printable(description.id) + ' ' + quoted(description.name) + " (" +
                       nameOf(description.deviceClass) + "): " + nameOf(global.level);
    if (!global.description.empty()) {
        line += ' ' + quoted(global.description);
    }
    for (const auto& property : description.properties) {
        line += ", " + printable(property.name) + ": " + quoted(property.value);
    }
    for (const auto& status : content.state->statuses) {
        const std::string value = textOf(status.getValue());
        const bool isText = status.getType() == NamedStatus::Type::Text;
        line += ", " + printable(status.getName()) + " = " + (isText ? quoted(value) : value);
    }
    return line;
}

}  // namespace

void appendText(std::string& text, const Content& content, unsigned indent) {
    text.append(std::size_t{2} * indent, ' ');
    text += lineOf(content) + '\n';
    content.children.forEach(
        [&](const CopyOnWrite<Content>& child) { appendText(text, *child, indent + 1); });
}

}  // namespace tarn::device_tree
