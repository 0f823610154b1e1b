#include "platform/utils/MessageFormatter.h"

#include <utility>

namespace tarn::utils {

std::string IMessageFormatter::formatMessage(const std::string& message) const {
    return messageHeader() + " > " + message;
}

MessageFormatter::MessageFormatter(std::string componentName)
    : componentName(std::move(componentName)) {}

std::string MessageFormatter::messageHeader() const {
    return componentName;
}

}  // namespace tarn::utils
