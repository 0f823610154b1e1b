#include "service/configuration/DeltacastServiceConfigurationHandler.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "platform/utils/Printable.h"
#include "service/configuration/ConfigurationError.h"
#include "service/configuration/xml/Replace.h"
#include "service/configuration/xml/XmlNumber.h"

namespace tarn::service::configuration {

namespace {

constexpr std::array<std::uint32_t, 4> lineCounts = {488, 576, 720, 1080};
constexpr std::array<std::uint32_t, 8> frameRates = {23976, 24, 25, 2997, 30, 50, 5994, 60};

template <std::size_t size>
bool isOneOf(std::uint32_t value, const std::array<std::uint32_t, size>& allowed) {
    return std::find(allowed.begin(), allowed.end(), value) != allowed.end();
}

std::string textOf(const XmlNode& element) {
    return elementContent(element).value_or("");
}

std::uint32_t numberOf(const XmlNode& element) {
    return static_cast<std::uint32_t>(elementToInt(element, textOf(element)));
}

}  // namespace

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
    readCommandLine(node);
    readPixelFormat(node);
    readInputLists(node);
    readLineCount(node);
    readFieldMode(node);
    readFrameRate(node);
    valid = true;
}

void DeltacastServiceConfigurationHandler::readCommandLine(const XmlNode& node) {
    const XmlNode& element =
        required(node, "CommandLine", "DeltacastService configuration error: no CommandLine node");
    const auto text = elementContent(element);
    if (!text) {
        throw ConfigurationError(
            *this, "DeltacastService configuration error: CommandLine node error", element);
    }
    commandLine = *text;
    if (commandLine.empty()) {
        throw ConfigurationError(
            *this, "DeltacastService configuration error: CommandLine node is empty", element);
    }
}

void DeltacastServiceConfigurationHandler::readPixelFormat(const XmlNode& node) {
    const XmlNode& element =
        required(node, "DefaultPixelFormat",
                 "DeltacastService configuration error: no DefaultPixelFormat node");
    defaultPixelFormat = textOf(element);
    if (defaultPixelFormat != "uyvy422_8" && defaultPixelFormat != "rgb24") {
        throw ConfigurationError(*this,
                                 "DeltacastService configuration error: DefaultPixelFormat node is "
                                 "invalid: only uyvy422_8 and rgb24 are supported",
                                 element);
    }
}

void DeltacastServiceConfigurationHandler::readInputLists(const XmlNode& node) {
    const XmlNode& inputs =
        required(node, "DefaultBoard0InputList",
                 "DeltacastService configuration error: no DefaultBoard0InputList node");
    defaultBoard0InputList = textOf(inputs);

    const XmlNode& offsets =
        required(node, "DefaultBoard0InputFrameOffsetList",
                 "DeltacastService configuration error: no DefaultBoard0InputFrameOffsetList node");
    defaultBoard0InputFrameOffsetList = textOf(offsets);
}

void DeltacastServiceConfigurationHandler::readLineCount(const XmlNode& node) {
    const XmlNode& element = required(
        node, "DefaultLineCount", "DeltacastService configuration error: no DefaultLineCount node");
    defaultLineCount = numberOf(element);
    if (!isOneOf(defaultLineCount, lineCounts)) {
        throw ConfigurationError(*this,
                                 "DeltacastService configuration error: DefaultLineCount node is "
                                 "invalid: only 488, 576, 720 and 1080 are supported",
                                 element);
    }
}

void DeltacastServiceConfigurationHandler::readFieldMode(const XmlNode& node) {
    const XmlNode& element = required(
        node, "DefaultFieldMode", "DeltacastService configuration error: no DefaultFieldMode node");
    defaultFieldMode = textOf(element);
    if (defaultFieldMode != "i" && defaultFieldMode != "p" && defaultFieldMode != "psf") {
        throw ConfigurationError(*this,
                                 "DeltacastService configuration error: DefaultFieldMode node is "
                                 "invalid: only i, p and psf are supported",
                                 element);
    }
}

void DeltacastServiceConfigurationHandler::readFrameRate(const XmlNode& node) {
    const XmlNode& element = required(
        node, "DefaultFrameRate", "DeltacastService configuration error: no DefaultFrameRate node");
    defaultFrameRate = numberOf(element);
    if (!isOneOf(defaultFrameRate, frameRates)) {
        throw ConfigurationError(
            *this,
            "DeltacastService configuration error: DefaultFrameRate node is invalid: only 23976, "
            "24, 25, 2997, 30, 50, 5994 and 60 are supported",
            element);
    }
}

const XmlNode& DeltacastServiceConfigurationHandler::required(const XmlNode& node, const char* name,
                                                              const char* missing) const {
    const XmlNode* const element = firstChildElement(node, name);
    if (element == nullptr) {
        throw ConfigurationError(*this, missing, node);
    }
    return *element;
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
