#include "service/configuration/ConfigurationError.h"

namespace tarn::service::configuration {

ConfigurationError::ConfigurationError(const utils::IMessageFormatter& finder,
                                       const std::string& text, const XmlNode& where)
    : std::runtime_error(finder.formatMessage(text)),
      ProblemSource({.text = text, .element = elementName(where), .line = elementLine(where)}) {}

ConfigurationError::ConfigurationError(const utils::IMessageFormatter& finder,
                                       const std::string& text, const std::string& hint,
                                       unsigned line)
    : std::runtime_error(finder.formatMessage(text)),
      ProblemSource({.text = hint.empty() ? text : text + ": " + hint, .line = line}) {}

}  // namespace tarn::service::configuration
