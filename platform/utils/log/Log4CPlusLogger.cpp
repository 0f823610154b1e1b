#include "platform/utils/log/Log4CPlusLogger.h"

#include <log4cplus/configurator.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>

#include <exception>
#include <fstream>
#include <memory>

#include "platform/utils/Log.h"
#include "platform/utils/log/ClosedFileAppender.h"
#include "platform/utils/log/ConsoleAppender.h"

namespace tarn::utils {

namespace {

constexpr auto linePattern = LOG4CPLUS_TEXT("%D{%Y-%m-%d %H:%M:%S,%q} %-5p %m%n");

log4cplus::LogLevel toLog4CPlus(LogLevel level) {
    switch (level) {
        case LogLevel::Trace:
            return log4cplus::TRACE_LOG_LEVEL;
        case LogLevel::Debug:
            return log4cplus::DEBUG_LOG_LEVEL;
        case LogLevel::Info:
            return log4cplus::INFO_LOG_LEVEL;
        case LogLevel::Warning:
            return log4cplus::WARN_LOG_LEVEL;
        case LogLevel::Error:
            return log4cplus::ERROR_LOG_LEVEL;
        case LogLevel::Fatal:
            return log4cplus::FATAL_LOG_LEVEL;
    }
    return log4cplus::FATAL_LOG_LEVEL;
}

class LoggerSink : public LogSink {
  public:
    explicit LoggerSink(log4cplus::Logger logger) : logger(std::move(logger)) {}

    bool isEnabled(LogLevel level) const override {
        return logger.isEnabledFor(toLog4CPlus(level));
    }
    void write(LogLevel level, const std::string& message) override {
        logger.forcedLog(toLog4CPlus(level), message, nullptr, 0);
    }

  private:
    log4cplus::Logger logger;
};

std::unique_ptr<log4cplus::Layout> makeLayout() {
    return std::make_unique<log4cplus::PatternLayout>(linePattern);
}

void logToConsole(log4cplus::Logger& logger) {
    logger.removeAllAppenders();
    logger.addAppender(log4cplus::SharedAppenderPtr(new ConsoleAppender(makeLayout())));
    logger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    logger.setAdditivity(false);
}

void configure(const std::string& path) {
    log4cplus::helpers::Properties configuration(path);
    ConsoleAppender::replaceIn(configuration);
    closeFilesIn(configuration);
    log4cplus::PropertyConfigurator(configuration).configure();
}

bool hasAppender(log4cplus::Logger logger) {
    return !logger.getAllAppenders().empty() ||
           (logger.getAdditivity() && !log4cplus::Logger::getRoot().getAllAppenders().empty());
}

}  // namespace

void registerLog4CPlusLogger(const std::string& loggerName, const std::string& configFilePath) {
    log4cplus::initialize();
    auto logger = log4cplus::Logger::getInstance(loggerName);
    std::string problem;
    if (!std::ifstream(configFilePath).good()) {
        problem = "Cannot read logger configuration " + configFilePath;
    } else {
        try {
            configure(configFilePath);
            if (!hasAppender(logger)) {
                problem =
                    "Logger configuration " + configFilePath + " has no appender for " + loggerName;
            }
        } catch (const std::exception& e) {
            problem = "Invalid logger configuration " + configFilePath + ": " + e.what();
        }
    }
    if (!problem.empty()) {
        logToConsole(logger);
    }
    setLogSink(std::make_shared<LoggerSink>(logger));
    if (!problem.empty()) {
        logWarning(problem + ": logging to the console");
    }
}

void closeLog4CPlusLogger() {
    setLogSink(nullptr);
    log4cplus::Logger::shutdown();
}

}  // namespace tarn::utils
