#pragma once

#include <string>

namespace tarn::utils {

/// Gives the messages of a component its name: "<header> > <message>".
/// formatMessage may be called from any thread if messageHeader may.
class IMessageFormatter {
  public:
    virtual std::string messageHeader() const = 0;
    virtual ~IMessageFormatter() = default;

    std::string formatMessage(const std::string& message) const;
};

/// A formatter with a fixed header.
class MessageFormatter : public IMessageFormatter {
  public:
    explicit MessageFormatter(std::string componentName);

    std::string messageHeader() const override;

  private:
    const std::string componentName;
};

}  // namespace tarn::utils
