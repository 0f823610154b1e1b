#include "platform/utils/log/ConsoleAppender.h"

#include <log4cplus/layout.h>
#include <unistd.h>

#include <utility>

#include "platform/utils/log/AppenderReplacement.h"

namespace tarn::utils {

namespace {

int descriptorFor(const log4cplus::helpers::Properties& properties) {
    bool toStandardError = false;
    properties.getBool(toStandardError, LOG4CPLUS_TEXT("logToStdErr"));
    return toStandardError ? STDERR_FILENO : STDOUT_FILENO;
}

}  // namespace

ConsoleAppender::ConsoleAppender(std::unique_ptr<log4cplus::Layout> layout)
    : output(std::make_unique<ConsoleOutput>(STDERR_FILENO)) {
    setLayout(std::move(layout));
}

ConsoleAppender::ConsoleAppender(const log4cplus::helpers::Properties& properties)
    : Appender(properties), output(std::make_unique<ConsoleOutput>(descriptorFor(properties))) {}

ConsoleAppender::~ConsoleAppender() {
    destructorImpl();
}

void ConsoleAppender::close() {
    const log4cplus::thread::MutexGuard lock(access_mutex);  // which append is called with
    output.reset();
    closed = true;
}

void ConsoleAppender::append(const log4cplus::spi::InternalLoggingEvent& event) {
    if (output) {
        output->write(formatEvent(event));
    }
}

void ConsoleAppender::replaceIn(log4cplus::helpers::Properties& configuration) {
    replaceAppender<ConsoleAppender>(configuration, "log4cplus::ConsoleAppender",
                                     "tarn::utils::ConsoleAppender");
}

}  // namespace tarn::utils
