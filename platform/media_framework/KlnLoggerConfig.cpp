#include "platform/media_framework/KlnLoggerConfig.h"

#include <rapidxml/rapidxml.hpp>

#include "platform/utils/XmlNesting.h"

namespace tarn::media_framework {

namespace {

constexpr unsigned deepestNesting = 50;  // the parser calls itself for each level

}  // namespace

std::optional<std::string> loggerNameIn(const std::string& xmlConfig) {
    if (tarn::utils::findNestingBeyond(xmlConfig.c_str(), deepestNesting)) {
        return std::nullopt;
    }
    std::string buffer = xmlConfig;  // overwritten by the parser, whose nodes point into it
    rapidxml::xml_document<char> document;
    try {
        document.parse<rapidxml::parse_trim_whitespace>(buffer.data());
    } catch (const rapidxml::parse_error&) {
        return std::nullopt;
    }
    const auto* const config = document.first_node("Config");
    const auto* const logger = config == nullptr ? nullptr : config->first_node("Logger");
    if (logger == nullptr || logger->value_size() == 0) {
        return std::nullopt;
    }
    return std::string(logger->value(), logger->value_size());
}

}  // namespace tarn::media_framework
