#include "service/configuration/DeltacastServiceConfigurationHandler.h"

#include <algorithm>
#include <stdexcept>
#include <variant>

#include "platform/utils/Printable.h"
#include "service/configuration/ConfigurationError.h"
#include "service/configuration/xml/Replace.h"
#include "service/configuration/xml/XmlNumber.h"

namespace tarn::service::configuration {

namespace {

/// "i, p and psf".
std::string listed(const std::vector<std::string>& values) {
    std::string text;
    for (std::size_t i = 0; i < values.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == values.size() ? " and " : ", ") + values[i];
    }
    return text;
}

enum class WhenEmpty { IsEmptyText, IsRefused };

}  // namespace

struct DeltacastServiceConfigurationHandler::Element {
    using Handler = DeltacastServiceConfigurationHandler;

    const char* name;
    std::variant<std::string Handler::*, std::uint32_t Handler::*> member;
    std::vector<std::string> allowed = {};  ///< none: any text
    WhenEmpty whenEmpty = WhenEmpty::IsEmptyText;
};

const std::vector<DeltacastServiceConfigurationHandler::Element>&
DeltacastServiceConfigurationHandler::elements() {
    using Handler = DeltacastServiceConfigurationHandler;
    static const std::vector<Element> wanted = {
        {"CommandLine", &Handler::commandLine, {}, WhenEmpty::IsRefused},
        {"DefaultPixelFormat", &Handler::defaultPixelFormat, {"uyvy422_8", "rgb24"}},
        {"DefaultBoard0InputList", &Handler::defaultBoard0InputList},
        {"DefaultBoard0InputFrameOffsetList", &Handler::defaultBoard0InputFrameOffsetList},
        {"DefaultLineCount", &Handler::defaultLineCount, {"488", "576", "720", "1080"}},
        {"DefaultFieldMode", &Handler::defaultFieldMode, {"i", "p", "psf"}},
        {"DefaultFrameRate",
         &Handler::defaultFrameRate,
         {"23976", "24", "25", "2997", "30", "50", "5994", "60"}},
    };
    return wanted;
}

std::vector<std::string> DeltacastServiceConfigurationHandler::elementNames() {
    std::vector<std::string> names;
    for (const auto& element : elements()) {
        names.emplace_back(element.name);
    }
    return names;
}

DeltacastServiceConfigurationHandler::DeltacastServiceConfigurationHandler()
    : MessageFormatter("DeltacastServiceConfigurationHandler") {
    reset();
}

void DeltacastServiceConfigurationHandler::reset() {
    commandLine.clear();
    defaultPixelFormat = "uyvy422_8";
    defaultBoard0InputList = "0";
    defaultBoard0InputFrameOffsetList = "0";
    defaultLineCount = 1080;
    defaultFieldMode = "i";
    defaultFrameRate = 25;
}

bool DeltacastServiceConfigurationHandler::parseXml(const XmlNode& node, std::string& error) {
    error.clear();
    try {
        readXml(node);
    } catch (const ConfigurationError& failure) {
        error = failure.what();
    }
    return error.empty();
}

void DeltacastServiceConfigurationHandler::readXml(const XmlNode& node) {
    reset();
    for (const auto& wanted : elements()) {
        readElement(node, wanted);
    }
    valid = true;
}

// A value that is refused stays, like those before it.
void DeltacastServiceConfigurationHandler::readElement(const XmlNode& service,
                                                       const Element& wanted) {
    const std::string name = wanted.name;
    const XmlNode* const element = firstChildElement(service, wanted.name);
    if (element == nullptr) {
        throw failure("no " + name + " node", service);
    }
    const auto content = elementContent(*element);
    if (wanted.whenEmpty == WhenEmpty::IsRefused && content.value_or("").empty()) {
        throw failure(name + (content ? " node is empty" : " node error"), *element);
    }
    std::string value = content.value_or("");
    if (const auto* const number =
            std::get_if<std::uint32_t DeltacastServiceConfigurationHandler::*>(&wanted.member)) {
        this->** number = static_cast<std::uint32_t>(elementToInt(*element, value));
        value = std::to_string(this->**number);
    } else {
        this->*std::get<std::string DeltacastServiceConfigurationHandler::*>(wanted.member) = value;
    }
    const auto& allowed = wanted.allowed;
    if (!allowed.empty() && std::find(allowed.begin(), allowed.end(), value) == allowed.end()) {
        throw failure(name + " node is invalid: only " + listed(allowed) + " are supported",
                      *element);
    }
}

ConfigurationError DeltacastServiceConfigurationHandler::failure(const std::string& problem,
                                                                 const XmlNode& where) const {
    return {*this, "DeltacastService configuration error: " + problem, where};
}

std::string DeltacastServiceConfigurationHandler::getCommandLine(
    const std::string& pixelFormat, const std::string& board0InputList,
    const std::string& board0InputFrameOffset, std::uint32_t lineCount,
    const std::string& fieldMode, std::uint32_t frameRate) const {
    std::string line = fill(commandLine, "%pixel-format", pixelFormat);
    line = fill(line, inputListPlaceholder, board0InputList);
    line = fill(line, frameOffsetPlaceholder, board0InputFrameOffset);
    line = fill(line, "%line-count", std::to_string(lineCount));
    line = fill(line, "%field-mode", fieldMode);
    return fill(line, "%frame-rate", std::to_string(frameRate));
}

std::string DeltacastServiceConfigurationHandler::fill(const std::string& line,
                                                       const std::string& placeholder,
                                                       const std::string& value) const {
    if (auto filled = replaceWithin(line, placeholder, value, longestCommandLine)) {
        return *filled;
    }
    throw std::invalid_argument(
        formatMessage("the value " + utils::quotedText(value) +
                      (value.find(placeholder) != std::string::npos
                           ? " holds its own placeholder "
                           : " makes the command line endless or too long in the place of ") +
                      placeholder));
}

std::string DeltacastServiceConfigurationHandler::getDefaultCommandLine() const {
    return getCommandLine(defaultPixelFormat, defaultBoard0InputList,
                          defaultBoard0InputFrameOffsetList, defaultLineCount, defaultFieldMode,
                          defaultFrameRate);
}

std::string DeltacastServiceConfigurationHandler::toString() const {
    if (!valid) {
        return "Invalid";
    }
    return commandLine + "[ pix " + defaultPixelFormat + "]" + "[ inputs " +
           defaultBoard0InputList + "]" + "[ lines " + std::to_string(defaultLineCount) + "]" +
           "[ field " + defaultFieldMode + "]" + "[ rate " + std::to_string(defaultFrameRate) + "]";
}

}  // namespace tarn::service::configuration
