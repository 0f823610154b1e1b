#pragma once

#include <log4cplus/appender.h>
#include <log4cplus/helpers/property.h>

#include <memory>

#include "platform/utils/log/ConsoleOutput.h"

namespace tarn::utils {

/// What the logging framework's own console appender does, but nobody who logs waits for whoever
/// reads the console: see ConsoleOutput.
class ConsoleAppender : public log4cplus::Appender {
  public:
    /// Standard error, with this layout.
    explicit ConsoleAppender(std::unique_ptr<log4cplus::Layout> layout);

    /// With the properties of the framework's appender; "ImmediateFlush" goes without saying.
    explicit ConsoleAppender(const log4cplus::helpers::Properties& properties);
    ~ConsoleAppender() override;

    void close() override;

    /// Puts this class in the place of the framework's in a configuration that is about to be used.
    static void replaceIn(log4cplus::helpers::Properties& configuration);

  protected:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override;

  private:
    std::unique_ptr<ConsoleOutput> output;  // null once closed
};

}  // namespace tarn::utils
