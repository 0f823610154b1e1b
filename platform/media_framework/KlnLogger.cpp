#include <optional>
#include <string>

#include "platform/media_framework/Kln.h"
#include "platform/media_framework/KlnLoggerConfig.h"
#include "platform/utils/Log.h"
#include "platform/utils/Synchronised.h"

namespace {

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
    const auto logger = tarn::media_framework::loggerNameIn(xmlConfig);
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
