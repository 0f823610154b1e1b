#include "platform/utils/log/ConsoleAppender.h"

#include <log4cplus/layout.h>
#include <log4cplus/spi/factory.h>
#include <unistd.h>

#include <string_view>
#include <utility>

namespace tarn::utils {

namespace {

constexpr auto className = LOG4CPLUS_TEXT("tarn::utils::ConsoleAppender");
constexpr auto replacedClass = LOG4CPLUS_TEXT("log4cplus::ConsoleAppender");

class Factory : public log4cplus::spi::AppenderFactory {
  public:
    log4cplus::SharedAppenderPtr createObject(
        const log4cplus::helpers::Properties& properties) override {
        return log4cplus::SharedAppenderPtr(new ConsoleAppender(properties));
    }
    const log4cplus::tstring& getTypeName() const override { return name; }

  private:
    const log4cplus::tstring name = className;
};

int descriptorFor(const log4cplus::helpers::Properties& properties) {
    bool toStandardError = false;
    properties.getBool(toStandardError, LOG4CPLUS_TEXT("logToStdErr"));
    return toStandardError ? STDERR_FILENO : STDOUT_FILENO;
}

// "log4cplus.appender.NAME", and not a property of the appender.
bool namesAppender(const log4cplus::tstring& key) {
    constexpr std::string_view prefix = "appender.";
    return key.starts_with(prefix) && key.find('.', prefix.size()) == log4cplus::tstring::npos;
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
    log4cplus::spi::getAppenderFactoryRegistry().put(
        std::unique_ptr<log4cplus::spi::AppenderFactory>(new Factory));
    const log4cplus::tstring prefix = LOG4CPLUS_TEXT("log4cplus.");
    for (const auto& key : configuration.propertyNames()) {
        if (key.starts_with(prefix) && namesAppender(key.substr(prefix.size())) &&
            configuration.getProperty(key) == replacedClass) {
            configuration.setProperty(key, className);
        }
    }
}

}  // namespace tarn::utils
