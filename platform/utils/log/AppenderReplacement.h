#pragma once

#include <log4cplus/helpers/property.h>
#include <log4cplus/spi/factory.h>

#include <memory>
#include <string>
#include <string_view>

namespace tarn::utils {

/// Makes appenders of a class of ours, which the framework then knows by a name.
template <typename Appender>
class FactoryOf : public log4cplus::spi::AppenderFactory {
  public:
    explicit FactoryOf(log4cplus::tstring name) : name(std::move(name)) {}

    log4cplus::SharedAppenderPtr createObject(
        const log4cplus::helpers::Properties& properties) override {
        return log4cplus::SharedAppenderPtr(new Appender(properties));
    }
    const log4cplus::tstring& getTypeName() const override { return name; }

  private:
    const log4cplus::tstring name;
};

/// "log4cplus.appender.NAME", and not a property of the appender.
inline bool namesAppender(std::string_view key) {
    constexpr std::string_view prefix = "log4cplus.appender.";
    return key.starts_with(prefix) && key.find('.', prefix.size()) == std::string_view::npos;
}

/// Puts a class of ours in the place of the framework's in a configuration that is about to be
/// used.
template <typename Appender>
void replaceAppender(log4cplus::helpers::Properties& configuration,
                     const log4cplus::tstring& replaced, const log4cplus::tstring& name) {
    log4cplus::spi::getAppenderFactoryRegistry().put(
        std::unique_ptr<log4cplus::spi::AppenderFactory>(new FactoryOf<Appender>(name)));
    for (const auto& key : configuration.propertyNames()) {
        if (namesAppender(key) && configuration.getProperty(key) == replaced) {
            configuration.setProperty(key, name);
        }
    }
}

}  // namespace tarn::utils
