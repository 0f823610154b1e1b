#include <optional>
#include <rapidxml/rapidxml.hpp>
#include <string>

#include "platform/media_framework/Kln.h"
#include "platform/utils/Log.h"
#include "platform/utils/Synchronised.h"
#include "platform/utils/XmlNesting.h"

namespace {

constexpr unsigned deepestNesting = 50;  // the parser calls itself for each level

// The name in "<Config><Logger>NAME</Logger></Config>", without blanks around it; nothing when the
// text is not of that form or the name is empty.
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

enum Result { Done = 0, NullArgument = 1, OtherFramework = 2, BadConfiguration = 3 };

// What stands before each line; nothing while no framework was set. Never destroyed: threads of
// plug-ins may still log while the process exits.
tarn::utils::Synchronised<std::optional<std::string>>& linePrefix() {
    static auto* const prefix = new tarn::utils::Synchronised<std::optional<std::string>>();
    return *prefix;
}

// A plug-in may have been built with levels that we do not know.
tarn::utils::LogLevel toLogLevel(int level) {
    switch (level) {
        case KLN_LOG_TRACE:
            return tarn::utils::LogLevel::Trace;
        case KLN_LOG_DEBUG:
            return tarn::utils::LogLevel::Debug;
        case KLN_LOG_INFO:
            return tarn::utils::LogLevel::Info;
        case KLN_LOG_WARNING:
            return tarn::utils::LogLevel::Warning;
        default:
            return tarn::utils::LogLevel::Error;
    }
}

}  // namespace

int KLNSetLoggerFrameworkConfig(const char* framework, const char* loggerPrefix,
                                const char* xmlConfig) {
    if (framework == nullptr || loggerPrefix == nullptr || xmlConfig == nullptr) {
        return NullArgument;
    }
    if (std::string(framework) != "Log4CPlus") {
        return OtherFramework;
    }
    const auto logger = loggerNameIn(xmlConfig);
    if (!logger) {
        return BadConfiguration;
    }
    *linePrefix().lock() = std::string(loggerPrefix) + "." + *logger + " > ";
    return Done;
}

void KLNLog(KLNLogLevel level, const char* message) {
    const auto prefix = *linePrefix().lock();
    if (prefix && message != nullptr) {
        tarn::utils::log(toLogLevel(level), *prefix + message);
    }
}
